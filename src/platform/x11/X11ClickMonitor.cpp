#include "platform/x11/X11ClickMonitor.h"

#include "platform/freedesktop/StatusPlace.h"
#include "platform/freedesktop/UniqueFd.h"
#include "platform/x11/X11Display.h"
#include "platform/x11/Xcb.h"

#include <QSocketNotifier>

#include <array>
#include <cerrno>
#include <cstring>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>

#include <xcb/xinput.h>

namespace vantorel {

namespace {

// Windows within windows; nobody nests them deeper, and a tree that changes meanwhile must not keep us.
constexpr int kDeepest = 32;

// From a frame down to the window that it is around.
constexpr int kDepthOfFrames = 2;

using Xcb::Owned;

class EventFd {
public:
    EventFd() : m_fd(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
        if (!m_fd)
            throw std::system_error(errno, std::generic_category());
    }

    int get() const { return m_fd.get(); }
    void raise() const { eventfd_write(get(), 1); }
    void lower() const {
        eventfd_t value = 0;
        eventfd_read(get(), &value);
    }

private:
    UniqueFd m_fd;
};

// The numbers that one connection may give to what it makes.
struct Resources {
    uint32_t base = 0;
    uint32_t mask = 0;

    bool have(xcb_window_t window) const { return base != 0 && (window & ~mask) == base; }
};

Resources resourcesOfQt() {
    xcb_connection_t* const connection = X11Display::connection();
    if (!connection)
        return {};
    const xcb_setup_t* const setup = xcb_get_setup(connection);
    return {setup->resource_id_base, setup->resource_id_mask};
}

// The server as the thread sees it.
class Server {
public:
    Server(const char* display, const Resources& own) : m_own(own), m_connection(Xcb::connect(display, &m_screen)) { }
    ~Server() { xcb_disconnect(m_connection); }
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    bool isGone() const { return xcb_connection_has_error(m_connection) != 0; }
    int descriptor() const { return xcb_get_file_descriptor(m_connection); }

    bool listen();

    // The next press that counts; absent when there is none for now.
    std::optional<QPoint> nextPress();

private:
    bool isPress(const xcb_generic_event_t& event) const;
    std::optional<QPoint> pressElsewhere() const;
    bool isFrameOfOurs(xcb_window_t window, int depth) const;

    Resources m_own;
    int m_screen = 0;
    xcb_connection_t* m_connection;
    xcb_window_t m_root = XCB_NONE;
    xcb_atom_t m_wmState = XCB_NONE;
    uint8_t m_opcode = 0;
};

bool Server::listen() {
    if (isGone())
        return false;
    const auto* const extension = xcb_get_extension_data(m_connection, &xcb_input_id);
    if (!extension || !extension->present)
        return false;
    m_opcode = extension->major_opcode;
    // From version 2.1 on raw events come as well while another client has the pointer to itself.
    const Owned<xcb_input_xi_query_version_reply_t> version(
        xcb_input_xi_query_version_reply(m_connection, xcb_input_xi_query_version(m_connection, 2, 2), nullptr));
    if (!version || version->major_version < 2)
        return false;

    if (const auto atoms = Xcb::atoms<1>(m_connection, {"WM_STATE"}))
        m_wmState = atoms->front();
    m_root = Xcb::screenAt(m_connection, m_screen)->root;
    struct {
        xcb_input_event_mask_t head;
        uint32_t mask;
    } events{};
    events.head.deviceid = XCB_INPUT_DEVICE_ALL_MASTER;
    events.head.mask_len = 1;
    events.mask = XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_PRESS;
    xcb_input_xi_select_events(m_connection, m_root, 1, &events.head);
    return xcb_flush(m_connection) > 0;
}

std::optional<QPoint> Server::nextPress() {
    while (const auto event = Owned<xcb_generic_event_t>(xcb_poll_for_event(m_connection))) {
        if (!isPress(*event))
            continue;
        if (const auto press = pressElsewhere())
            return press;
    }
    return std::nullopt;
}

bool Server::isPress(const xcb_generic_event_t& event) const {
    if ((event.response_type & 0x7f) != XCB_GE_GENERIC)
        return false;
    xcb_input_raw_button_press_event_t press;
    std::memcpy(&press, &event, sizeof press);
    return press.extension == m_opcode && press.event_type == XCB_INPUT_RAW_BUTTON_PRESS
        && (press.detail == 1 || press.detail == 3);
}

// Raw events do not say where they were: that is where the pointer is.
std::optional<QPoint> Server::pressElsewhere() const {
    xcb_window_t window = m_root;
    xcb_window_t top = XCB_NONE;
    std::optional<QPoint> position;
    for (int depth = 0; depth < kDeepest; ++depth) {
        const Owned<xcb_query_pointer_reply_t> pointer(
            xcb_query_pointer_reply(m_connection, xcb_query_pointer(m_connection, window), nullptr));
        if (!pointer)
            break;
        if (!position) {
            position = QPoint(pointer->root_x, pointer->root_y);
            top = pointer->child;
        }
        if (m_own.have(pointer->child))
            return std::nullopt;
        if (pointer->child == XCB_NONE)
            break;
        window = pointer->child;
    }
    if (top != XCB_NONE && isFrameOfOurs(top, kDepthOfFrames))
        return std::nullopt;
    return position;
}

// Window managers mark the windows that they put frames around. A bar with our icon in it is no frame.
bool Server::isFrameOfOurs(xcb_window_t window, int depth) const {
    const Owned<xcb_query_tree_reply_t> tree(
        xcb_query_tree_reply(m_connection, xcb_query_tree(m_connection, window), nullptr));
    if (!tree)
        return false;
    const xcb_window_t* const children = xcb_query_tree_children(tree.get());
    for (int i = 0; i < xcb_query_tree_children_length(tree.get()); ++i) {
        if (m_own.have(children[i])) {
            const auto cookie = xcb_get_property(m_connection, false, children[i], m_wmState, XCB_ATOM_ANY, 0, 0);
            const Owned<xcb_get_property_reply_t> state(xcb_get_property_reply(m_connection, cookie, nullptr));
            if (state && state->type != XCB_NONE)
                return true;
        } else if (depth > 1 && isFrameOfOurs(children[i], depth - 1)) {
            return true;
        }
    }
    return false;
}

} // namespace

// What the thread and the monitor share. A server that never answers keeps the thread, and the thread this.
struct X11ClickMonitor::Watch {
    Watch(QByteArray toDisplay, const Resources& ofQt) : display(std::move(toDisplay)), own(ofQt) { }

    const QByteArray display;
    const Resources own;
    EventFd isOver;
    EventFd hasPresses;
    std::mutex mutex;
    std::vector<QPoint> presses;
};

X11ClickMonitor::X11ClickMonitor(QByteArray display) : m_display(std::move(display)) { }

X11ClickMonitor::~X11ClickMonitor() {
    X11ClickMonitor::stop();
}

void X11ClickMonitor::start(Pressed pressed) {
    if (m_watch)
        return;
    try {
        auto watch = std::make_shared<Watch>(m_display, resourcesOfQt());
        std::thread([watch] { run(*watch); }).detach();
        m_watch = std::move(watch);
    } catch (const std::system_error&) { // no descriptor or no thread to be had just now
        return;
    }
    m_pressed = std::move(pressed);
    m_notifier = new QSocketNotifier(m_watch->hasPresses.get(), QSocketNotifier::Read);
    QObject::connect(m_notifier, &QSocketNotifier::activated, m_notifier, [this] { takePresses(); });
}

void X11ClickMonitor::stop() {
    if (!m_watch)
        return;
    m_watch->isOver.raise();
    m_watch.reset();
    m_pressed = nullptr;
    // We may have been called by the notifier.
    m_notifier->setEnabled(false);
    m_notifier->deleteLater();
    m_notifier = nullptr;
}

void X11ClickMonitor::run(Watch& watch) {
    pthread_setname_np(pthread_self(), "click monitor");
    Server server(watch.display.constData(), watch.own);
    if (!server.listen())
        return;
    for (;;) {
        while (const auto press = server.nextPress()) {
            {
                const std::lock_guard lock(watch.mutex);
                watch.presses.push_back(*press);
            }
            watch.hasPresses.raise();
        }
        std::array<pollfd, 2> sources = {{{server.descriptor(), POLLIN, 0}, {watch.isOver.get(), POLLIN, 0}}};
        poll(sources.data(), sources.size(), -1);
        if (sources[1].revents != 0 || server.isGone())
            return;
    }
}

void X11ClickMonitor::takePresses() {
    const auto watch = m_watch;
    watch->hasPresses.lower();
    std::vector<QPoint> presses;
    {
        const std::lock_guard lock(watch->mutex);
        presses.swap(watch->presses);
    }
    const QList<StatusScreen> screens = statusScreens();
    for (const QPoint& press : presses) {
        const Pressed pressed = m_pressed;
        pressed(logicalPoint(press, screens).value_or(press));
        if (m_watch != watch) // stopped meanwhile
            return;
    }
}

} // namespace vantorel
