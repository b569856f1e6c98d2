// Shows a small painted panel as the program's own is shown, does what its standard input says, and tells what happens
// on its standard output. Commands: show X Y WIDTH HEIGHT, hide, watch, unwatch, tip, destroy, window, quit.
#include "platform/wayland/WaylandPanelSurface.h"

#include <QApplication>
#include <QHelpEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QSocketNotifier>
#include <QToolTip>
#include <QWidget>
#include <QWindow>

#include <cstdio>
#include <iostream>
#include <memory>
#include <string>

namespace {

void tell(const QString& line) {
    std::printf("%s\n", qPrintable(line));
    std::fflush(stdout);
}

// A red frame of one pixel around blue, so that a picture shows each edge.
class Panel : public QWidget {
public:
    Panel()
        : QWidget(nullptr,
                  Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::WindowDoesNotAcceptFocus) {
        setAttribute(Qt::WA_ShowWithoutActivating);
        setWindowTitle(QStringLiteral("panel"));
        setToolTip(QStringLiteral("a tip"));
    }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.fillRect(rect(), Qt::red);
        painter.fillRect(rect().adjusted(1, 1, -1, -1), Qt::blue);
    }
    void mousePressEvent(QMouseEvent* event) override {
        tell(QStringLiteral("inside %1 %2").arg(event->position().x()).arg(event->position().y()));
    }
    void hideEvent(QHideEvent*) override { tell(QStringLiteral("hidden")); }
    bool event(QEvent* event) override {
        if (event->type() == QEvent::WindowActivate || event->type() == QEvent::WindowDeactivate)
            tell(event->type() == QEvent::WindowActivate ? QStringLiteral("activated") : QStringLiteral("deactivated"));
        return QWidget::event(event);
    }
};

} // namespace

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    vantorel::WaylandPanelSurface surface;
    QApplication::setQuitOnLastWindowClosed(false);
    std::unique_ptr<Panel> panel;
    QWidget other;
    other.setWindowTitle(QStringLiteral("other"));
    other.resize(200, 100);

    QSocketNotifier input(fileno(stdin), QSocketNotifier::Read);
    QObject::connect(&input, &QSocketNotifier::activated, [&] {
        std::string text;
        // The tests wait for an answer before they say more: nothing is left in the stream's buffer.
        if (!std::getline(std::cin, text)) {
            QApplication::quit();
            return;
        }
        const QStringList words = QString::fromStdString(text).split(QLatin1Char(' '));
        const QString& command = words.first();
        if (command == QLatin1String("show")) {
            if (!panel) {
                panel = std::make_unique<Panel>();
                surface.adopt(*panel);
            }
            const auto number = [&words](int index) { return words.value(index).toInt(); };
            surface.show(*panel, QRect(number(1), number(2), number(3), number(4)));
        } else if (command == QLatin1String("hide")) {
            panel->hide();
        } else if (command == QLatin1String("watch")) {
            surface.start([&panel](const std::optional<QPoint>& /*position*/) {
                tell(QStringLiteral("pressed elsewhere"));
                panel->hide();
            });
        } else if (command == QLatin1String("unwatch")) {
            surface.stop();
        } else if (command == QLatin1String("tip")) {
            QHelpEvent help(QEvent::ToolTip, QPoint(10, 10), panel->mapToGlobal(QPoint(10, 10)));
            QApplication::sendEvent(panel.get(), &help);
            tell(QToolTip::isVisible() ? QStringLiteral("tip") : QStringLiteral("no tip"));
        } else if (command == QLatin1String("window")) {
            QObject::connect(qApp, &QGuiApplication::focusWindowChanged, &other, [&other](const QWindow* focused) {
                if (focused && focused == other.windowHandle())
                    tell(QStringLiteral("keyboard"));
            });
            other.show();
        } else if (command == QLatin1String("destroy")) {
            panel.reset();
        } else if (command == QLatin1String("quit")) {
            QApplication::quit();
        }
        tell(QStringLiteral("done ") + command);
    });
    tell(QStringLiteral("ready"));
    return QApplication::exec();
}
