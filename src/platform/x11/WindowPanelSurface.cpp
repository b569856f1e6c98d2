#include "platform/x11/WindowPanelSurface.h"

#include "platform/x11/X11Display.h"

#include <QWidget>
#include <QWindow>

namespace vantorel {

void WindowPanelSurface::adopt(QWidget& panel) {
    panel.setWindowFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::WindowDoesNotAcceptFocus);
    panel.setAttribute(Qt::WA_ShowWithoutActivating);
}

void WindowPanelSurface::show(QWidget& panel, const QRect& frame) {
    panel.setGeometry(frame);
    if (!panel.isVisible()) {
        panel.winId(); // makes the window
        X11Display::markAsPanel(*panel.windowHandle());
        panel.show();
    }
    panel.raise();
}

} // namespace vantorel
