// Shows an icon in the desktop's bar, with a menu of two entries, and writes down what is done with it.
#include <QApplication>
#include <QCursor>
#include <QMenu>
#include <QPixmap>
#include <QSystemTrayIcon>

#include <cstdio>

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    QPixmap picture(22, 22);
    picture.fill(Qt::red);
    QMenu menu;
    for (const char* const title : {"First", "Second"})
        QObject::connect(menu.addAction(QLatin1String(title)), &QAction::triggered, [title] {
            std::puts(title);
            std::fflush(stdout);
        });
    QSystemTrayIcon icon(picture);
    icon.setContextMenu(&menu);
    QObject::connect(&icon, &QSystemTrayIcon::activated, [](QSystemTrayIcon::ActivationReason reason) {
        std::printf("clicked %d %d %d\n", reason, QCursor::pos().x(), QCursor::pos().y());
        std::fflush(stdout);
    });
    icon.show();
    return QApplication::exec();
}
