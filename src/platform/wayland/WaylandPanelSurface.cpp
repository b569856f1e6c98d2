#include "platform/wayland/WaylandPanelSurface.h"

#include "platform/wayland/LayerShell.h"

#include <QGuiApplication>
#include <QMouseEvent>
#include <QRasterWindow>
#include <QScreen>
#include <QWidget>
#include <QWindow>

#include <utility>

namespace vantorel {

// One pixel, stretched over the screen.
class WaylandPanelSurface::Cover : public QRasterWindow {
public:
    Cover(WaylandPanelSurface& owner, LayerShell& shell, QScreen* screen) : m_owner(owner) {
        QSurfaceFormat format = requestedFormat();
        format.setAlphaBufferSize(8);
        setFormat(format);
        setFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowDoesNotAcceptFocus | Qt::BypassWindowManagerHint);
        setScreen(screen);
        setGeometry(QRect(screen->geometry().topLeft(), QSize(1, 1)));
        show();
        m_layer = LayerSurface::place(shell, *this, geometry(), LayerSurface::Layer::cover, [this] { remove(); });
        if (!m_layer)
            remove();
    }

protected:
    // Fingers and pens press as well: Qt makes a mouse of what nobody takes.
    void mousePressEvent(QMouseEvent* event) override {
        if (event->button() == Qt::LeftButton || event->button() == Qt::RightButton)
            m_owner.report();
    }

private:
    void remove() {
        m_layer.reset();
        hide();
    }

    WaylandPanelSurface& m_owner;
    std::unique_ptr<LayerSurface> m_layer;
};

WaylandPanelSurface::WaylandPanelSurface() {
    LayerSurface::prepareProcess();
}

WaylandPanelSurface::~WaylandPanelSurface() = default;

void WaylandPanelSurface::adopt(QWidget& panel) {
    m_panel = &panel;
    m_shell = LayerShell::find();
    if (m_shell)
        panel.setWindowFlag(Qt::BypassWindowManagerHint);
}

void WaylandPanelSurface::show(QWidget& panel, const QRect& frame) {
    QScreen* const at = QGuiApplication::screenAt(frame.center());
    QScreen* const screen = at ? at : QGuiApplication::primaryScreen();
    if (panel.isVisible() && (!m_shell || (m_layer && panel.screen() == screen))) {
        panel.setGeometry(frame);
        if (m_layer)
            m_layer->move(frame);
        return;
    }
    panel.hide();
    panel.setScreen(screen);
    panel.setGeometry(frame);
    panel.show();
    connect(panel.windowHandle(), &QWindow::visibleChanged, this, &WaylandPanelSurface::follow, Qt::UniqueConnection);
    if (m_shell) {
        m_layer = LayerSurface::place(*m_shell, *panel.windowHandle(), frame, LayerSurface::Layer::panel, [this] {
            if (m_panel && m_layer && m_layer->isClosed()) // and not the next one by now
                m_panel->hide();
        });
        if (!m_layer) {
            panel.hide();
            return;
        }
        qGuiApp->installEventFilter(this);
    }
    watch();
}

// The layer has to go before Qt takes the surface away.
void WaylandPanelSurface::follow(bool isVisible) {
    if (isVisible)
        return;
    m_layer.reset();
    qGuiApp->removeEventFilter(this);
    unwatch();
}

// Qt would have a tool tip of a window that has its place from us be a window like all others, with the keyboard.
bool WaylandPanelSurface::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() != QEvent::ToolTip || !watched->isWidgetType() || !m_panel)
        return false;
    const auto* const widget = static_cast<QWidget*>(watched);
    return widget == m_panel || m_panel->isAncestorOf(widget);
}

void WaylandPanelSurface::start(Pressed pressed) {
    if (m_pressed)
        return;
    m_pressed = std::move(pressed);
    watch();
}

void WaylandPanelSurface::stop() {
    m_pressed = nullptr;
    unwatch();
}

void WaylandPanelSurface::watch() {
    if (!m_pressed || !m_panel || !m_panel->isVisible())
        return;
    connect(qGuiApp, &QGuiApplication::focusWindowChanged, this, &WaylandPanelSurface::followKeyboard,
            Qt::UniqueConnection);
    // The panel itself has it only in the eyes of Qt, which has not heard yet that it went when the panel was hidden.
    const QWindow* const focused = QGuiApplication::focusWindow();
    m_hasKeyboard = focused && focused != m_panel->windowHandle();
    // A window of this program that has the keyboard is not to be covered: presses in it are none elsewhere.
    if (!m_layer || !m_shell->canStretch() || m_hasKeyboard)
        return;
    for (QScreen* const screen : QGuiApplication::screens())
        m_covers.push_back(std::make_unique<Cover>(*this, *m_shell, screen));
}

void WaylandPanelSurface::unwatch() {
    disconnect(qGuiApp, &QGuiApplication::focusWindowChanged, this, nullptr);
    m_covers.clear();
}

void WaylandPanelSurface::followKeyboard(const QWindow* window) {
    if (std::exchange(m_hasKeyboard, window != nullptr) && !window)
        report();
}

void WaylandPanelSurface::report() {
    QMetaObject::invokeMethod(
        this,
        [this] {
            if (m_pressed && m_panel && m_panel->isVisible())
                m_pressed(std::nullopt);
        },
        Qt::QueuedConnection);
}

} // namespace vantorel
