// The least that any panel at an icon pays: one plain widget with one label, without a frame and without taking the
// focus, at the place of the click.

#include <QApplication>
#include <QCursor>
#include <QLabel>
#include <QMenu>
#include <QPixmap>
#include <QSystemTrayIcon>
#include <QVBoxLayout>

#include <memory>

namespace {

std::unique_ptr<QWidget> makePanel() {
    auto panel = std::make_unique<QWidget>(nullptr, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowDoesNotAcceptFocus);
    panel->setAttribute(Qt::WA_ShowWithoutActivating);
    auto* const layout = new QVBoxLayout(panel.get());
    layout->addWidget(new QLabel(QStringLiteral("A label that is seen at once"), panel.get()));
    panel->setFixedSize(290, 180);
    return panel;
}

} // namespace

int main(int argc, char* argv[]) {
    QApplication application(argc, argv);
    QGuiApplication::setQuitOnLastWindowClosed(false);
    QPixmap picture(22, 22);
    picture.fill(Qt::darkGray);
    QSystemTrayIcon icon{QIcon(picture)};
    std::unique_ptr<QWidget> panel;
    QObject::connect(&icon, &QSystemTrayIcon::activated, &icon, [&panel] {
        if (!panel)
            panel = makePanel();
        panel->move(QCursor::pos() + QPoint(-panel->width() / 2, 20));
        panel->setVisible(!panel->isVisible());
    });
    icon.show();
    return QApplication::exec();
}
