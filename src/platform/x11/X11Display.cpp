#include "platform/x11/X11Display.h"

#include "platform/x11/Xcb.h"

#include <QGuiApplication>
#include <QWindow>

#include <array>
#include <future>
#include <memory>
#include <system_error>
#include <thread>
#include <utility>

namespace vantorel {

namespace {

// The time of the click is the last part of the id (Startup Notification Protocol); 0 where it is not told.
uint32_t timeOf(const QByteArray& startupID) {
    const qsizetype mark = startupID.lastIndexOf("_TIME");
    return mark < 0 ? 0 : startupID.mid(mark + 5).toUInt();
}

} // namespace

// The handshake waits for the server and cannot be told for how long: a thread that is left behind does it.
bool X11Display::answers(std::chrono::milliseconds patience) {
    const auto promise = std::make_shared<std::promise<bool>>();
    std::future<bool> isLetIn = promise->get_future();
    try {
        std::thread([promise] {
            xcb_connection_t* const connection = Xcb::connect(nullptr, nullptr);
            promise->set_value(xcb_connection_has_error(connection) == 0);
            xcb_disconnect(connection);
        }).detach();
    } catch (const std::system_error&) { // no thread to be had
        return false;
    }
    return isLetIn.wait_for(patience) == std::future_status::ready && isLetIn.get();
}

// Qt asks as a program that wants the focus for itself, which window managers refuse while the user works elsewhere.
void X11Display::bringToFront(const QWindow& window, const QByteArray& startupID) {
    xcb_connection_t* const qt = connection();
    if (!qt)
        return;
    const auto atoms = Xcb::atoms<1>(qt, {"_NET_ACTIVE_WINDOW"});
    if (!atoms)
        return;
    constexpr uint32_t kByTheUser = 2; // Extended Window Manager Hints, "source indication"
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = static_cast<xcb_window_t>(window.winId());
    message.type = atoms->front();
    message.data.data32[0] = kByTheUser;
    message.data.data32[1] = timeOf(startupID);
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(qt)).data->root;
    xcb_send_event(qt, false, root, XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                   reinterpret_cast<const char*>(&message));
    xcb_flush(qt);
}

// Qt keeps what it does not know of the state, and adds its own. The type is not that of a tool, as Qt has it: some
// window managers hide a program's tools while it is not active, which ours never is.
void X11Display::markAsPanel(const QWindow& window) {
    xcb_connection_t* const qt = connection();
    if (!qt)
        return;
    const auto atoms = Xcb::atoms<8>(
        qt,
        {"_NET_WM_STATE", "_NET_WM_STATE_STICKY", "_NET_WM_STATE_SKIP_TASKBAR", "_NET_WM_STATE_SKIP_PAGER",
         "_NET_WM_WINDOW_TYPE", "_NET_WM_WINDOW_TYPE_NOTIFICATION", "_NET_WM_WINDOW_TYPE_UTILITY", "_NET_WM_DESKTOP"});
    if (!atoms)
        return;
    const auto [state, sticky, skipTaskbar, skipPager, type, notification, utility, desktop] = *atoms;
    const std::array states = {sticky, skipTaskbar, skipPager};
    const std::array types = {notification, utility}; // the second for those who do not know the first
    constexpr uint32_t kEveryDesktop = 0xFFFFFFFF;
    const auto id = static_cast<xcb_window_t>(window.winId());
    xcb_change_property(qt, XCB_PROP_MODE_REPLACE, id, state, XCB_ATOM_ATOM, 32, states.size(), states.data());
    xcb_change_property(qt, XCB_PROP_MODE_REPLACE, id, type, XCB_ATOM_ATOM, 32, types.size(), types.data());
    xcb_change_property(qt, XCB_PROP_MODE_REPLACE, id, desktop, XCB_ATOM_CARDINAL, 32, 1, &kEveryDesktop);
}

xcb_connection_t* X11Display::connection() {
    const auto* const x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    return x11 ? x11->connection() : nullptr;
}

} // namespace vantorel
