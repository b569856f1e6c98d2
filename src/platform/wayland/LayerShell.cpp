#include "platform/wayland/LayerShell.h"

#include <QAbstractEventDispatcher>
#include <QDeadlineTimer>
#include <QGuiApplication>
#include <QScreen>
#include <QWindow>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <string_view>
#include <utility>

#include <poll.h>

#include <qpa/qplatformnativeinterface.h>
#include <qpa/qplatformscreen.h>
#include <qpa/qplatformwindow.h>

#include <viewporter-client.h>
#include <wayland-client.h>
#include <wlr-layer-shell-unstable-v1-client.h>

namespace vantorel {

namespace {

using namespace std::chrono_literals;

// A compositor answers within a millisecond; one that does not is in trouble, and Qt's own windows wait for it as well.
constexpr auto kPatience = 2s;

// The first version that lets go of the shell. What came later is about the keyboard, which is not asked for.
constexpr uint32_t kShellVersion = 3;

wl_surface* surfaceOf(QWindow& window) {
    return static_cast<wl_surface*>(
        QGuiApplication::platformNativeInterface()->nativeResourceForWindow("surface", &window));
}

wl_output* outputOf(QScreen* screen) {
    return static_cast<wl_output*>(
        QGuiApplication::platformNativeInterface()->nativeResourceForScreen("output", screen));
}

} // namespace

std::unique_ptr<LayerShell> LayerShell::find() {
    if (!QGuiApplication::platformName().startsWith(u"wayland"))
        return nullptr;
    auto* const display = static_cast<wl_display*>(
        QGuiApplication::platformNativeInterface()->nativeResourceForIntegration("wl_display"));
    if (!display)
        return nullptr;
    std::unique_ptr<LayerShell> shell(new LayerShell(display));
    shell->bind();
    return shell->m_shell ? std::move(shell) : nullptr;
}

LayerShell::LayerShell(wl_display* display) : m_display(display), m_queue(wl_display_create_queue(display)) { }

LayerShell::~LayerShell() {
    if (m_viewporter)
        wp_viewporter_destroy(m_viewporter);
    if (m_shell && zwlr_layer_shell_v1_get_version(m_shell) >= ZWLR_LAYER_SHELL_V1_DESTROY_SINCE_VERSION)
        zwlr_layer_shell_v1_destroy(m_shell);
    else if (m_shell)
        wl_proxy_destroy(reinterpret_cast<wl_proxy*>(m_shell));
    wl_event_queue_destroy(m_queue);
}

void LayerShell::bind() {
    static constexpr wl_registry_listener kRegistry = {
        .global =
            [](void* data, wl_registry* registry, uint32_t name, const char* interface, uint32_t version) {
                auto& shell = *static_cast<LayerShell*>(data);
                const std::string_view wanted(interface);
                if (wanted == zwlr_layer_shell_v1_interface.name)
                    shell.m_shell = static_cast<zwlr_layer_shell_v1*>(wl_registry_bind(
                        registry, name, &zwlr_layer_shell_v1_interface, std::min(version, kShellVersion)));
                else if (wanted == wp_viewporter_interface.name)
                    shell.m_viewporter =
                        static_cast<wp_viewporter*>(wl_registry_bind(registry, name, &wp_viewporter_interface, 1));
            },
        .global_remove = [](void*, wl_registry*, uint32_t) {},
    };
    static constexpr wl_callback_listener kAnswer = {
        .done = [](void* data, wl_callback*, uint32_t) { *static_cast<bool*>(data) = true; },
    };

    // What is made from the wrapper reports to our queue from its very first event on.
    auto* const wrapper = static_cast<wl_display*>(wl_proxy_create_wrapper(m_display));
    wl_proxy_set_queue(reinterpret_cast<wl_proxy*>(wrapper), m_queue);
    wl_registry* const registry = wl_display_get_registry(wrapper);
    wl_callback* const answer = wl_display_sync(wrapper);
    wl_proxy_wrapper_destroy(wrapper);
    bool isAnswered = false;
    wl_registry_add_listener(registry, &kRegistry, this);
    wl_callback_add_listener(answer, &kAnswer, &isAnswered);
    await([&] { return isAnswered; });
    wl_callback_destroy(answer);
    wl_registry_destroy(registry);
}

bool LayerShell::await(const std::function<bool()>& isDone) {
    const QDeadlineTimer deadline(kPatience);
    for (;;) {
        if (wl_display_dispatch_queue_pending(m_display, m_queue) < 0)
            return false;
        if (isDone())
            return true;
        if (wl_display_prepare_read_queue(m_display, m_queue) != 0)
            continue;
        wl_display_flush(m_display);
        pollfd socket = {wl_display_get_fd(m_display), POLLIN, 0};
        const int ready = poll(&socket, 1, static_cast<int>(deadline.remainingTime()));
        if (ready <= 0) {
            wl_display_cancel_read(m_display);
            if (ready < 0 && errno == EINTR)
                continue;
            return false;
        }
        // Also what is Qt's, in whose own queue it waits for Qt.
        wl_display_read_events(m_display);
    }
}

struct LayerSurface::Role {
    Role(LayerShell& itsShell, QWindow& itsWindow) : shell(itsShell), window(itsWindow) { }
    ~Role();
    Role(const Role&) = delete;
    Role& operator=(const Role&) = delete;

    void setPlace(const QRect& frame);

    static const zwlr_layer_surface_v1_listener kListener;

    LayerShell& shell;
    QWindow& window;
    Layer layer = Layer::panel;
    std::function<void()> closed;
    wl_surface* base = nullptr;
    zwlr_layer_surface_v1* surface = nullptr;
    wp_viewport* viewport = nullptr;
    QSize stretched;
    bool isConfigured = false, isClosed = false;
    QMetaObject::Connection dispatching;
};

const zwlr_layer_surface_v1_listener LayerSurface::Role::kListener = {
    .configure =
        [](void* data, zwlr_layer_surface_v1* surface, uint32_t serial, uint32_t width, uint32_t height) {
            auto& role = *static_cast<Role*>(data);
            zwlr_layer_surface_v1_ack_configure(surface, serial);
            const bool isFirst = !std::exchange(role.isConfigured, true);
            const QSize size(static_cast<int>(width), static_cast<int>(height));
            if (!role.viewport || size.isEmpty() || size == role.stretched)
                return;
            role.stretched = size;
            wp_viewport_set_destination(role.viewport, size.width(), size.height());
            if (!isFirst) // which is followed by what Qt paints
                wl_surface_commit(role.base);
        },
    .closed =
        [](void* data, zwlr_layer_surface_v1*) {
            auto& role = *static_cast<Role*>(data);
            if (!std::exchange(role.isClosed, true))
                QMetaObject::invokeMethod(&role.window, role.closed, Qt::QueuedConnection);
        },
};

LayerSurface::Role::~Role() {
    QObject::disconnect(dispatching);
    if (viewport)
        wp_viewport_destroy(viewport);
    if (surface)
        zwlr_layer_surface_v1_destroy(surface);
}

void LayerSurface::Role::setPlace(const QRect& frame) {
    constexpr uint32_t kTopLeft = ZWLR_LAYER_SURFACE_V1_ANCHOR_TOP | ZWLR_LAYER_SURFACE_V1_ANCHOR_LEFT;
    constexpr uint32_t kAll = kTopLeft | ZWLR_LAYER_SURFACE_V1_ANCHOR_BOTTOM | ZWLR_LAYER_SURFACE_V1_ANCHOR_RIGHT;
    if (layer == Layer::cover) {
        zwlr_layer_surface_v1_set_anchor(surface, kAll);
        return;
    }
    // Both in the compositor's pixels, which are not Qt's where QT_SCALE_FACTOR is set. Qt itself puts all windows into
    // the corner of the screen.
    const QRect screen = window.screen()->geometry();
    const QRect native = window.screen()->handle()->geometry();
    const QPoint corner = (frame.topLeft() - screen.topLeft()) * native.width() / screen.width();
    const QSize size = window.handle()->geometry().size();
    zwlr_layer_surface_v1_set_size(surface, static_cast<uint32_t>(size.width()), static_cast<uint32_t>(size.height()));
    zwlr_layer_surface_v1_set_anchor(surface, kTopLeft);
    zwlr_layer_surface_v1_set_margin(surface, corner.y(), 0, 0, corner.x());
}

void LayerSurface::prepareProcess() {
    qputenv(kVariable, "1");
}

std::unique_ptr<LayerSurface> LayerSurface::place(LayerShell& shell, QWindow& window, const QRect& frame, Layer layer,
                                                  std::function<void()> closed) {
    wl_surface* const surface = surfaceOf(window);
    wl_output* const output = outputOf(window.screen());
    if (!surface || !output)
        return nullptr;
    std::unique_ptr<LayerSurface> result(new LayerSurface);
    result->m_role = std::make_unique<Role>(shell, window);
    Role& role = *result->m_role;
    role.base = surface;
    role.layer = layer;
    role.closed = std::move(closed);
    role.surface = zwlr_layer_shell_v1_get_layer_surface(
        shell.m_shell, surface, output,
        layer == Layer::cover ? ZWLR_LAYER_SHELL_V1_LAYER_TOP : ZWLR_LAYER_SHELL_V1_LAYER_OVERLAY, "vantorel");
    zwlr_layer_surface_v1_add_listener(role.surface, &Role::kListener, &role);
    if (layer == Layer::cover && shell.m_viewporter)
        role.viewport = wp_viewporter_get_viewport(shell.m_viewporter, surface);
    // The room that bars have reserved counts as part of the screen.
    zwlr_layer_surface_v1_set_exclusive_zone(role.surface, -1);
    zwlr_layer_surface_v1_set_keyboard_interactivity(role.surface, 0);
    role.setPlace(frame);
    wl_surface_commit(surface);
    // Nothing may be painted before the compositor has answered.
    if (!shell.await([&role] { return role.isConfigured || role.isClosed; }) || role.isClosed)
        return nullptr;
    // Qt's thread reads our events as well, and wakes the loop for them.
    role.dispatching =
        QObject::connect(QAbstractEventDispatcher::instance(), &QAbstractEventDispatcher::aboutToBlock, &window,
                         [&shell] { wl_display_dispatch_queue_pending(shell.m_display, shell.m_queue); });
    return result;
}

LayerSurface::LayerSurface() = default;
LayerSurface::~LayerSurface() = default;

void LayerSurface::move(const QRect& frame) {
    m_role->setPlace(frame);
    wl_surface_commit(m_role->base);
}

bool LayerSurface::isClosed() const {
    return m_role->isClosed;
}

} // namespace vantorel
