#include "platform/x11/X11Display.h"

#include <QGuiApplication>
#include <QWindow>

#include <cstdlib>
#include <future>
#include <memory>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>

#include <xcb/xcb.h>

namespace vantorel {

namespace {

// The time of the click is the last part of the id (Startup Notification Protocol); 0 where it is not told.
uint32_t timeOf(const QByteArray& startupID) {
    const qsizetype mark = startupID.lastIndexOf("_TIME");
    return mark < 0 ? 0 : startupID.mid(mark + 5).toUInt();
}

xcb_connection_t* connectionOfQt() {
    const auto* const x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    return x11 ? x11->connection() : nullptr;
}

} // namespace

// The handshake waits for the server and cannot be told for how long: a thread that is left behind does it.
bool X11Display::answers(std::chrono::milliseconds patience) {
    const auto promise = std::make_shared<std::promise<bool>>();
    std::future<bool> isLetIn = promise->get_future();
    try {
        std::thread([promise] {
            xcb_connection_t* const connection = xcb_connect(nullptr, nullptr);
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
    xcb_connection_t* const connection = connectionOfQt();
    if (!connection)
        return;
    const std::string_view name = "_NET_ACTIVE_WINDOW";
    const auto cookie = xcb_intern_atom(connection, false, static_cast<uint16_t>(name.size()), name.data());
    const std::unique_ptr<xcb_intern_atom_reply_t, decltype(&std::free)> atom(
        xcb_intern_atom_reply(connection, cookie, nullptr), &std::free);
    if (!atom)
        return;
    constexpr uint32_t kByTheUser = 2; // Extended Window Manager Hints, "source indication"
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = static_cast<xcb_window_t>(window.winId());
    message.type = atom->atom;
    message.data.data32[0] = kByTheUser;
    message.data.data32[1] = timeOf(startupID);
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
    xcb_send_event(connection, false, root, XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                   reinterpret_cast<const char*>(&message));
    xcb_flush(connection);
}

} // namespace vantorel
