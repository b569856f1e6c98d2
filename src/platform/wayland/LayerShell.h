#pragma once

#include <QRect>

#include <functional>
#include <memory>

class QScreen;
class QWindow;

struct wl_display;
struct wl_event_queue;
struct wp_viewporter;
struct zwlr_layer_shell_v1;

namespace vantorel {

class LayerSurface;

/// The compositor's layers, in which a window stands where the program wants it. Uses the connection that Qt has, but
/// an event queue of its own, and no thread. Main thread only; lives no longer than the application object.
class LayerShell {
public:
    /// Asks the compositor, and waits a moment for its answer. Null where it has no layers, and where the program is
    /// not on Wayland.
    static std::unique_ptr<LayerShell> find();

    ~LayerShell();
    LayerShell(const LayerShell&) = delete;
    LayerShell& operator=(const LayerShell&) = delete;

    /// Whether a surface can be of another size than what is painted on it.
    bool canStretch() const { return m_viewporter != nullptr; }

private:
    friend class LayerSurface;

    explicit LayerShell(wl_display* display);
    void bind();
    // Dispatches what comes until `isDone`; false when that does not come about within a moment.
    bool await(const std::function<bool()>& isDone);

    wl_display* m_display;
    wl_event_queue* m_queue;
    zwlr_layer_shell_v1* m_shell = nullptr;
    wp_viewporter* m_viewporter = nullptr;
};

/// A window's place in a layer. The window has to have been given `Qt::BypassWindowManagerHint` before it was created,
/// in a process that `LayerSurface::prepareProcess` was called in: Qt leaves such windows without a place of its own
/// choice.
class LayerSurface {
public:
    enum class Layer {
        cover, ///< over the windows and most bars; the whole screen
        panel, ///< over everything but a locked screen
    };

    /// Sets one variable of the environment, which is to be kept from children. Best before there are threads.
    static void prepareProcess();
    static constexpr const char* kVariable = "QT_WAYLAND_USE_BYPASSWINDOWMANAGERHINT";

    /// To be called straight after the window was shown on that screen, before the event loop lets Qt paint it. The
    /// place is that of the window's geometry, or the whole screen. `closed` is called from the event loop when the
    /// compositor wants the window gone, as when the screen has gone. Null when the compositor does not give the place
    /// in time.
    static std::unique_ptr<LayerSurface> place(LayerShell& shell, QWindow& window, const QRect& frame, Layer layer,
                                               std::function<void()> closed);

    /// To be destroyed before Qt hides the window.
    ~LayerSurface();
    LayerSurface(const LayerSurface&) = delete;
    LayerSurface& operator=(const LayerSurface&) = delete;

    /// To be called when the window has that size already; stays on the same screen.
    void move(const QRect& frame);

    /// The compositor has wanted the window gone.
    bool isClosed() const;

private:
    struct Role;

    LayerSurface();

    std::unique_ptr<Role> m_role;
};

} // namespace vantorel
