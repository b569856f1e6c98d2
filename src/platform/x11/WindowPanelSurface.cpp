#include "platform/x11/WindowPanelSurface.h"

#include "platform/x11/X11Display.h"

#include <QWidget>
#include <QWindow>

namespace vantorel {

void WindowPanelSurface::adopt(QWidget& panel) {
    panel.setWindowFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::WindowDoesNotAcceptFocus);
    panel.setAttribute(Qt::WA_ShowWithoutActivating);
    // Some window managers hide a program's tools while it is not active, which ours never is.
    panel.setAttribute(Qt::WA_X11NetWmWindowTypeNotification);
}

void WindowPanelSurface::show(QWidget& panel, const QRect& frame) {
    panel.setGeometry(frame);
    if (!panel.isVisible()) {
        panel.winId(); // makes the window
        X11Display::keepOnAllWorkspaces(*panel.windowHandle());
        panel.show();
    }
    panel.raise();
}

} // namespace vantorel
