#pragma once

#include "platform/ClickMonitor.h"
#include "platform/PanelSurface.h"

#include <QObject>
#include <QPointer>

#include <memory>
#include <vector>

class QWidget;
class QWindow;

namespace vantorel {

class LayerShell;
class LayerSurface;

/// The panel on Wayland: in a layer where the compositor has layers, else a window that the compositor places. It never
/// takes the keyboard in a layer, and shows no tool tips there.
///
/// No program sees presses in the windows of others there. While the panel is in a layer, the rest of each screen is
/// covered with something that cannot be seen: a press on it counts as one elsewhere, and is lost to what lies below.
/// While a window of this program has the keyboard, and wherever there is no cover, the keyboard's going elsewhere
/// counts.
///
/// KWin 5.27 gives the keyboard to what is pressed in a layer, and back to the window that had it when the panel
/// closes.
///
/// Asks the compositor nothing before `adopt`, and costs nothing while the panel is hidden. Main thread only; to be
/// destroyed before the application object.
class WaylandPanelSurface : public QObject, public PanelSurface, public ClickMonitor {
    Q_OBJECT

public:
    /// Sets a variable of the environment, which is to be kept from children: best made before there are threads.
    WaylandPanelSurface();
    ~WaylandPanelSurface() override;

    void adopt(QWidget& panel) override;
    void show(QWidget& panel, const QRect& frame) override;

    void start(Pressed pressed) override;
    void stop() override;

    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    class Cover;

    void follow(bool isVisible);
    void watch();
    void unwatch();
    void followKeyboard(const QWindow* window);
    void report();

    std::unique_ptr<LayerShell> m_shell; // absent where the compositor has no layers
    std::unique_ptr<LayerSurface> m_layer; // present while the panel is in one
    QPointer<QWidget> m_panel;
    std::vector<std::unique_ptr<Cover>> m_covers;
    Pressed m_pressed;
    bool m_hasKeyboard = false; // a window of this program has, since the panel is open
};

} // namespace vantorel
