// Opens the links that are its arguments in the way of a Qt application, then those that are written into the FIFO that
// LINKS names, one a line; stays until it is ended. With TITLE it has a window of that title.
#include <QDesktopServices>
#include <QFile>
#include <QGuiApplication>
#include <QRasterWindow>
#include <QSocketNotifier>
#include <QTimer>
#include <QUrl>

#include <fcntl.h>

int main(int argc, char** argv) {
    QGuiApplication app(argc, argv);
    QRasterWindow window;
    if (qEnvironmentVariableIsSet("TITLE")) {
        window.setTitle(qEnvironmentVariable("TITLE"));
        window.resize(200, 100);
        window.show();
    }
    QTimer::singleShot(0, &app, [&app] {
        const QStringList links = app.arguments().mid(1);
        for (const QString& link : links) {
            if (!QDesktopServices::openUrl(QUrl(link)))
                app.exit(1);
        }
    });
    const int fifo = open(qgetenv("LINKS").constData(), O_RDWR | O_CLOEXEC);
    if (fifo < 0)
        return QGuiApplication::exec();
    QFile lines;
    if (!lines.open(fifo, QIODevice::ReadOnly | QIODevice::Unbuffered))
        return 1;
    QSocketNotifier notifier(fifo, QSocketNotifier::Read);
    QObject::connect(&notifier, &QSocketNotifier::activated, &lines,
                     [&lines] { QDesktopServices::openUrl(QUrl(QString::fromUtf8(lines.readLine()).trimmed())); });
    return QGuiApplication::exec();
}
