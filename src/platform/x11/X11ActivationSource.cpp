#include "platform/x11/X11ActivationSource.h"

#include "platform/freedesktop/UniqueFd.h"
#include "platform/freedesktop/WindowApplications.h"
#include "platform/x11/Xcb.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QSocketNotifier>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <future>
#include <system_error>
#include <thread>
#include <utility>

#include <poll.h>
#include <sys/eventfd.h>

#include <xcb/res.h>
#include <xcb/xcbext.h>

namespace vantorel {

namespace {

using namespace std::chrono_literals;

// A server answers within a millisecond. A link waits no longer than this for one that does not.
constexpr auto kPatience = 30ms;

// Between attempts to reach a server that is gone.
constexpr auto kFirstRetry = 1s;
constexpr auto kLastRetry = 16s;

// Longer names are no names; replies that are short never arrive in pieces.
constexpr uint32_t kMostWords = 256;

using Xcb::Owned;

QByteArray textOf(const xcb_get_property_reply_t* reply) {
    if (!reply || reply->format != 8)
        return {};
    return QByteArray(static_cast<const char*>(xcb_get_property_value(reply)), xcb_get_property_value_length(reply));
}

xcb_window_t windowOf(const xcb_get_property_reply_t* reply) {
    xcb_window_t window = XCB_NONE;
    if (reply && reply->format == 32 && xcb_get_property_value_length(reply) >= static_cast<int>(sizeof window))
        std::memcpy(&window, xcb_get_property_value(reply), sizeof window);
    return window;
}

std::optional<pid_t> processOf(const xcb_res_query_client_ids_reply_t* reply) {
    if (!reply)
        return std::nullopt;
    for (auto ids = xcb_res_query_client_ids_ids_iterator(reply); ids.rem > 0; xcb_res_client_id_value_next(&ids)) {
        const bool isProcess = (ids.data->spec.mask & XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID) != 0;
        if (isProcess && xcb_res_client_id_value_value_length(ids.data) > 0)
            return static_cast<pid_t>(*xcb_res_client_id_value_value(ids.data));
    }
    return std::nullopt;
}

} // namespace

// A connection that is ready for questions.
struct X11ActivationSource::Server {
    explicit Server(const char* display) : connection(Xcb::connect(display, &screen)) { }
    ~Server() { xcb_disconnect(connection); }
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    bool isGone() const { return xcb_connection_has_error(connection) != 0; }

    // Waits for the server as long as it takes.
    void prepare();

    int screen = 0;
    xcb_connection_t* connection;
    xcb_window_t root = XCB_NONE;
    xcb_atom_t activeWindow = XCB_NONE;
    xcb_atom_t gtkApplicationID = XCB_NONE;
    xcb_atom_t kdeDesktopFile = XCB_NONE;
    bool tellsProcesses = false;
    xcb_window_t activeAtFirst = XCB_NONE;
};

void X11ActivationSource::Server::prepare() {
    if (isGone())
        return;
    root = Xcb::screenAt(connection, screen)->root;
    xcb_prefetch_extension_data(connection, &xcb_res_id);
    const auto atoms =
        Xcb::atoms<3>(connection, {"_NET_ACTIVE_WINDOW", "_GTK_APPLICATION_ID", "_KDE_NET_WM_DESKTOP_FILE"});
    if (atoms) {
        activeWindow = (*atoms)[0];
        gtkApplicationID = (*atoms)[1];
        kdeDesktopFile = (*atoms)[2];
    }
    // Process ids came with version 1.2.
    const auto* const extension = xcb_get_extension_data(connection, &xcb_res_id);
    if (extension && extension->present) {
        const Owned<xcb_res_query_version_reply_t> version(
            xcb_res_query_version_reply(connection, xcb_res_query_version(connection, 1, 2), nullptr));
        tellsProcesses = version && (version->server_major > 1 || version->server_minor >= 2);
    }
    const uint32_t events = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_change_window_attributes(connection, root, XCB_CW_EVENT_MASK, &events);
    const auto cookie = xcb_get_property(connection, false, root, activeWindow, XCB_ATOM_WINDOW, 0, 1);
    const Owned<xcb_get_property_reply_t> active(xcb_get_property_reply(connection, cookie, nullptr));
    activeAtFirst = windowOf(active.get());
}

// Making a connection waits for the server and cannot be told for how long, so it happens on a thread of its own. The
// descriptor becomes readable when it is done. Whoever is the last to hold this gives up what nobody took.
struct X11ActivationSource::Attempt {
    UniqueFd done{eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)};
    std::promise<std::unique_ptr<Server>> promise;
    std::future<std::unique_ptr<Server>> server = promise.get_future();
};

// The questions that name the active window's application, in two rounds: which window it is, then what it is.
struct X11ActivationSource::Look {
    xcb_window_t window = XCB_NONE;
    WindowIdentity identity;
    // Numbers of requests; 0 for what is not asked or has been answered.
    unsigned active = 0;
    unsigned gtk = 0;
    unsigned kde = 0;
    unsigned windowClass = 0;
    unsigned process = 0;

    bool isOver() const { return (active | gtk | kde | windowClass | process) == 0; }
};

X11ActivationSource::X11ActivationSource(QByteArray display, QString ownBundleID, Identify identify)
    : m_display(std::move(display))
    , m_ownBundleID(std::move(ownBundleID))
    , m_identify(std::move(identify))
    , m_pause(kFirstRetry) {
    m_retry.setSingleShot(true);
    connect(&m_retry, &QTimer::timeout, this, &X11ActivationSource::connectToServer);
}

X11ActivationSource::~X11ActivationSource() = default;

void X11ActivationSource::start(Activated activated) {
    m_activated = std::move(activated);
    connectToServer();
}

void X11ActivationSource::stop() {
    m_retry.stop();
    dropServer();
    QCoreApplication::removePostedEvents(this, QEvent::MetaCall); // reports that are on their way
    m_willReadEvents = false;
    m_pause = kFirstRetry;
    setState(State::unknown);
}

void X11ActivationSource::connectToServer() {
    auto attempt = std::make_shared<Attempt>();
    try {
        if (!attempt->done)
            throw std::system_error(errno, std::generic_category());
        std::thread([attempt, display = m_display] {
            auto server = std::make_unique<Server>(display.constData());
            server->prepare();
            attempt->promise.set_value(std::move(server));
            eventfd_write(attempt->done.get(), 1);
        }).detach();
    } catch (const std::system_error&) { // no descriptor or no thread to be had just now
        retryLater();
        return;
    }
    m_attempt = std::move(attempt);
    m_notifier = new QSocketNotifier(m_attempt->done.get(), QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &X11ActivationSource::takeServer);
}

void X11ActivationSource::takeServer() {
    if (!m_attempt)
        return;
    // We may have been called by the notifier.
    m_notifier->setEnabled(false);
    m_notifier->deleteLater();
    m_notifier = nullptr;
    m_server = m_attempt->server.get();
    m_attempt.reset();
    if (m_server->isGone()) {
        m_server.reset();
        retryLater();
        return;
    }
    m_pause = kFirstRetry;
    m_isLate = false;
    m_activeWindow = m_server->activeAtFirst;
    m_notifier = new QSocketNotifier(xcb_get_file_descriptor(m_server->connection), QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &X11ActivationSource::readEvents);
    readEventsLater();
    setState(State::present);
}

// Gives up the server, or the attempt to reach one. We may have been called by the notifier.
void X11ActivationSource::dropServer() {
    if (m_notifier) {
        m_notifier->setEnabled(false);
        m_notifier->deleteLater();
        m_notifier = nullptr;
    }
    m_attempt.reset();
    m_look.reset();
    m_changedMeanwhile = false;
    m_server.reset();
    m_isLate = false;
}

void X11ActivationSource::loseServer() {
    dropServer();
    retryLater();
}

void X11ActivationSource::retryLater() {
    m_retry.start(m_pause);
    m_pause = std::min<std::chrono::milliseconds>(m_pause * 2, kLastRetry);
    setState(State::absent);
}

void X11ActivationSource::readPendingEvents() {
    m_willReadEvents = false;
    readEvents();
}

// What was read while we waited for an answer does not make the descriptor readable again.
void X11ActivationSource::readEventsLater() {
    if (m_willReadEvents)
        return;
    m_willReadEvents = true;
    QMetaObject::invokeMethod(this, &X11ActivationSource::readPendingEvents, Qt::QueuedConnection);
}

void X11ActivationSource::readEvents() {
    if (!m_server)
        return;
    bool isChanged = false;
    while (const auto event = Owned<xcb_generic_event_t>(xcb_poll_for_event(m_server->connection))) {
        if ((event->response_type & 0x7f) == XCB_PROPERTY_NOTIFY) {
            xcb_property_notify_event_t change;
            std::memcpy(&change, event.get(), sizeof change);
            isChanged = isChanged || (change.window == m_server->root && change.atom == m_server->activeWindow);
        }
    }
    if (isChanged && m_look)
        m_changedMeanwhile = true;
    else if (isChanged)
        beginLook();
    advanceLook();
    if (m_server->isGone())
        loseServer();
}

void X11ActivationSource::beginLook() {
    m_look = std::make_unique<Look>();
    m_look->active =
        xcb_get_property(m_server->connection, false, m_server->root, m_server->activeWindow, XCB_ATOM_WINDOW, 0, 1)
            .sequence;
    xcb_flush(m_server->connection);
}

// Takes the answers that are there, without waiting; true when there is no look under way any more. An error, for a
// window that is gone, is an answer without a value.
bool X11ActivationSource::advanceLook() {
    if (!m_look)
        return true;
    xcb_connection_t* const connection = m_server->connection;
    const auto take = [connection](unsigned& request, auto consume) {
        void* reply = nullptr;
        xcb_generic_error_t* error = nullptr;
        if (request == 0 || xcb_poll_for_reply(connection, request, &reply, &error) == 0)
            return;
        request = 0;
        const Owned<xcb_generic_error_t> ownedError(error);
        const Owned<void> ownedReply(reply);
        consume(reply);
    };
    Look& look = *m_look;
    take(look.active, [&](const void* reply) {
        look.window = windowOf(static_cast<const xcb_get_property_reply_t*>(reply));
        if (look.window == XCB_NONE)
            return;
        const auto ask = [&](xcb_atom_t property, xcb_atom_t type) {
            return xcb_get_property(connection, false, look.window, property, type, 0, kMostWords).sequence;
        };
        look.gtk = ask(m_server->gtkApplicationID, XCB_GET_PROPERTY_TYPE_ANY);
        look.kde = ask(m_server->kdeDesktopFile, XCB_GET_PROPERTY_TYPE_ANY);
        look.windowClass = ask(XCB_ATOM_WM_CLASS, XCB_GET_PROPERTY_TYPE_ANY);
        if (m_server->tellsProcesses) {
            const xcb_res_client_id_spec_t spec = {look.window, XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID};
            look.process = xcb_res_query_client_ids(connection, 1, &spec).sequence;
        }
        xcb_flush(connection);
    });
    const auto text = [](const void* reply) { return textOf(static_cast<const xcb_get_property_reply_t*>(reply)); };
    take(look.gtk, [&](const void* reply) { look.identity.gtkApplicationID = QString::fromUtf8(text(reply)); });
    take(look.kde, [&](const void* reply) { look.identity.kdeDesktopFile = QString::fromUtf8(text(reply)); });
    take(look.windowClass, [&](const void* reply) {
        const QByteArrayList halves = text(reply).split('\0');
        look.identity.instance = QString::fromUtf8(halves.value(0));
        look.identity.className = QString::fromUtf8(halves.value(1));
    });
    take(look.process, [&](const void* reply) {
        look.identity.process = processOf(static_cast<const xcb_res_query_client_ids_reply_t*>(reply));
    });
    if (!look.isOver())
        return false;
    finishLook();
    return true;
}

void X11ActivationSource::finishLook() {
    const auto look = std::move(m_look);
    m_isLate = false;
    const bool isWindow = look->window != XCB_NONE;
    m_found = isWindow ? applicationOf(look->identity) : std::nullopt;
    if (isWindow && look->window != std::exchange(m_activeWindow, look->window)) {
        QMetaObject::invokeMethod(
            this, [this, found = m_found] { m_activated(found); }, Qt::QueuedConnection);
    }
    if (std::exchange(m_changedMeanwhile, false))
        beginLook();
}

std::optional<QString> X11ActivationSource::applicationOf(const WindowIdentity& window) const {
    return window.process == getpid() ? m_ownBundleID : m_identify(window);
}

// True when the look under way is over by the deadline.
bool X11ActivationSource::awaitLook(const QDeadlineTimer& deadline) {
    while (!advanceLook()) {
        if (m_server->isGone()) {
            loseServer();
            return false;
        }
        pollfd socket = {xcb_get_file_descriptor(m_server->connection), POLLIN, 0};
        if (deadline.hasExpired() || poll(&socket, 1, static_cast<int>(deadline.remainingTime())) == 0) {
            m_isLate = true;
            return false;
        }
    }
    return true;
}

std::optional<QString> X11ActivationSource::frontmost() {
    const QDeadlineTimer deadline(m_isLate ? 0ms : std::chrono::milliseconds(kPatience));
    if (m_attempt) {
        m_isLate =
            m_attempt->server.wait_until(deadline.deadline<std::chrono::steady_clock>()) != std::future_status::ready;
        if (!m_isLate)
            takeServer();
    }
    if (!m_server)
        return std::nullopt;
    readEventsLater();
    // A look that is under way may have begun before the window was active that is active now; one that followed it
    // just now has not.
    if (m_look && !awaitLook(deadline))
        return std::nullopt;
    if (!m_look)
        beginLook();
    return awaitLook(deadline) ? m_found : std::nullopt;
}

} // namespace vantorel
