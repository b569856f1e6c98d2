// Shows a window whose title is its first argument, and stays until it is ended.
#include <QGuiApplication>
#include <QRasterWindow>

int main(int argc, char** argv) {
    QGuiApplication app(argc, argv);
    QRasterWindow window;
    window.setTitle(app.arguments().value(1));
    window.resize(200, 100);
    window.show();
    return QGuiApplication::exec();
}
