// Opens the links that are its arguments in the way of a Qt application, and stays until it is ended.
#include <QDesktopServices>
#include <QGuiApplication>
#include <QTimer>
#include <QUrl>

int main(int argc, char** argv) {
    QGuiApplication app(argc, argv);
    QTimer::singleShot(0, &app, [&app] {
        const QStringList links = app.arguments().mid(1);
        for (const QString& link : links) {
            if (!QDesktopServices::openUrl(QUrl(link)))
                app.exit(1);
        }
    });
    return QGuiApplication::exec();
}
