#include "platform/wayland/WlrActivationSource.h"

#include "platform/freedesktop/UniqueFd.h"
#include "platform/freedesktop/WindowApplications.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QSocketNotifier>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <unordered_map>
#include <utility>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <wayland-client.h>
#include <wlr-foreign-toplevel-management-unstable-v1-client.h>

namespace vantorel {

namespace {

using namespace std::chrono_literals;

// A compositor answers within a millisecond. A link waits no longer than this for one that does not.
constexpr auto kPatience = 30ms;

// Between attempts to reach a compositor that is gone.
constexpr auto kFirstRetry = 1s;
constexpr auto kLastRetry = 16s;

// The first version tells all that is asked for here.
constexpr uint32_t kManagerVersion = 1;

// A local socket is connected at once or not at all; one whose queue is full refuses as well.
UniqueFd connectedTo(const QByteArray& path) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.isEmpty() || static_cast<std::size_t>(path.size()) >= sizeof address.sun_path)
        return {};
    std::memcpy(address.sun_path, path.constData(), static_cast<std::size_t>(path.size()));
    UniqueFd socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!socket || ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        return {};
    return socket;
}

bool containsActivated(const wl_array& states) {
    const auto* const begin = static_cast<const char*>(states.data);
    for (std::size_t i = 0; i + sizeof(uint32_t) <= states.size; i += sizeof(uint32_t)) {
        uint32_t state = 0;
        std::memcpy(&state, begin + i, sizeof state);
        if (state == ZWLR_FOREIGN_TOPLEVEL_HANDLE_V1_STATE_ACTIVATED)
            return true;
    }
    return false;
}

} // namespace

QByteArray waylandSocketPath(const QByteArray& display, const QByteArray& runtimeFolder) {
    if (display.isEmpty() || display.startsWith('/'))
        return display;
    return runtimeFolder.startsWith('/') ? runtimeFolder + '/' + display : QByteArray();
}

// One connection. What libwayland calls back changes values here alone; whoever had it dispatch draws the conclusions,
// because nothing may be taken down in the midst of that.
struct WlrActivationSource::Compositor {
    struct Toplevel {
        explicit Toplevel(Compositor& its) : compositor(its) { }
        Compositor& compositor;
        // What has been announced counts from `done` on.
        QByteArray nextAppID, appID;
        bool willBeActive = false, isActive = false;
    };
    using Handle = zwlr_foreign_toplevel_handle_v1;
    enum class Stage {
        globals, ///< what the compositor offers is being listed
        withoutWindows, ///< it does not tell about windows
        windows, ///< the windows that are open already are being listed
        listening,
    };

    // Takes the socket over.
    Compositor(WlrActivationSource& owner, int socket);
    ~Compositor();
    Compositor(const Compositor&) = delete;
    Compositor& operator=(const Compositor&) = delete;

    // Has an answer come when everything that was asked before has been answered.
    void ask();
    // Sends what is to be sent; false when the compositor has to take some of it first.
    bool send();
    // Reads and dispatches what is there; waits for nothing. What is to be said about it fits into libwayland's buffer
    // when that is empty; what does not fit costs the connection.
    void read();
    bool isLost() const { return isFinished || !display || wl_display_get_error(display) != 0; }

    static Compositor& of(void* data) { return *static_cast<Compositor*>(data); }
    static Toplevel& toplevelOf(void* data) { return *static_cast<Toplevel*>(data); }

    void offered(uint32_t name, std::string_view interface);
    void withdrawn(uint32_t name);
    void opened(Handle* handle);
    void settled(Toplevel& toplevel);
    void closed(Handle* handle, const Toplevel& toplevel);

    static const wl_registry_listener kRegistry;
    static const wl_callback_listener kAnswer;
    static const zwlr_foreign_toplevel_manager_v1_listener kManager;
    static const zwlr_foreign_toplevel_handle_v1_listener kHandle;

    WlrActivationSource& source;
    wl_display* display;
    wl_registry* registry = nullptr;
    wl_callback* answer = nullptr; // the one that is owed
    zwlr_foreign_toplevel_manager_v1* manager = nullptr;
    uint32_t managerName = 0;
    Stage stage = Stage::globals;
    std::unordered_map<Handle*, Toplevel> toplevels;
    Toplevel* active = nullptr; // where each seat has one, the last
    bool isFinished = false;
};

const wl_registry_listener WlrActivationSource::Compositor::kRegistry = {
    .global = [](void* data, wl_registry*, uint32_t name, const char* interface,
                 uint32_t) { of(data).offered(name, interface); },
    .global_remove = [](void* data, wl_registry*, uint32_t name) { of(data).withdrawn(name); },
};

const wl_callback_listener WlrActivationSource::Compositor::kAnswer = {
    .done =
        [](void* data, wl_callback* callback, uint32_t) {
            wl_callback_destroy(callback);
            of(data).answer = nullptr;
            of(data).source.m_isLate = false;
        },
};

const zwlr_foreign_toplevel_manager_v1_listener WlrActivationSource::Compositor::kManager = {
    .toplevel = [](void* data, zwlr_foreign_toplevel_manager_v1*, Handle* handle) { of(data).opened(handle); },
    .finished = [](void* data, zwlr_foreign_toplevel_manager_v1*) { of(data).isFinished = true; },
};

// libwayland ends the program at an event that nobody listens to, so there is a function for each.
const zwlr_foreign_toplevel_handle_v1_listener WlrActivationSource::Compositor::kHandle = {
    .title = [](void*, Handle*, const char*) {},
    .app_id = [](void* data, Handle*, const char* appID) { toplevelOf(data).nextAppID = appID; },
    .output_enter = [](void*, Handle*, wl_output*) {},
    .output_leave = [](void*, Handle*, wl_output*) {},
    .state = [](void* data, Handle*, wl_array* states) { toplevelOf(data).willBeActive = containsActivated(*states); },
    .done = [](void* data, Handle*) { toplevelOf(data).compositor.settled(toplevelOf(data)); },
    .closed = [](void* data, Handle* handle) { toplevelOf(data).compositor.closed(handle, toplevelOf(data)); },
    .parent = [](void*, Handle*, Handle*) {},
};

WlrActivationSource::Compositor::Compositor(WlrActivationSource& owner, int socket)
    : source(owner)
    , display(wl_display_connect_to_fd(socket)) { // which closes the socket when it fails
    if (!display)
        return;
    registry = wl_display_get_registry(display);
    wl_registry_add_listener(registry, &kRegistry, this);
    ask();
}

WlrActivationSource::Compositor::~Compositor() {
    if (!display)
        return;
    // With nothing said to the compositor, which may not listen any more: the end of the connection says it all.
    for (const auto& [handle, toplevel] : toplevels)
        wl_proxy_destroy(reinterpret_cast<wl_proxy*>(handle));
    if (manager)
        zwlr_foreign_toplevel_manager_v1_destroy(manager);
    if (answer)
        wl_callback_destroy(answer);
    wl_registry_destroy(registry);
    wl_display_disconnect(display);
}

void WlrActivationSource::Compositor::ask() {
    answer = wl_display_sync(display);
    wl_callback_add_listener(answer, &kAnswer, this);
}

bool WlrActivationSource::Compositor::send() {
    return wl_display_flush(display) >= 0 || errno != EAGAIN;
}

void WlrActivationSource::Compositor::read() {
    while (wl_display_prepare_read(display) != 0) {
        if (wl_display_dispatch_pending(display) < 0)
            return;
    }
    wl_display_read_events(display);
    wl_display_dispatch_pending(display);
}

void WlrActivationSource::Compositor::offered(uint32_t name, std::string_view interface) {
    if (manager || interface != zwlr_foreign_toplevel_manager_v1_interface.name)
        return;
    manager = static_cast<zwlr_foreign_toplevel_manager_v1*>(
        wl_registry_bind(registry, name, &zwlr_foreign_toplevel_manager_v1_interface, kManagerVersion));
    managerName = name;
    zwlr_foreign_toplevel_manager_v1_add_listener(manager, &kManager, this);
}

void WlrActivationSource::Compositor::withdrawn(uint32_t name) {
    isFinished = isFinished || (manager && name == managerName);
}

void WlrActivationSource::Compositor::opened(Handle* handle) {
    Toplevel& toplevel = toplevels.try_emplace(handle, *this).first->second;
    zwlr_foreign_toplevel_handle_v1_add_listener(handle, &kHandle, &toplevel);
}

void WlrActivationSource::Compositor::settled(Toplevel& toplevel) {
    const bool wasActive = std::exchange(toplevel.isActive, toplevel.willBeActive);
    const bool isRenamed = std::exchange(toplevel.appID, toplevel.nextAppID) != toplevel.nextAppID;
    if (!toplevel.isActive) {
        if (active == &toplevel)
            active = nullptr;
        return;
    }
    if (!wasActive)
        active = &toplevel;
    else if (active != &toplevel || !isRenamed)
        return;
    // What was active before we came has not become so.
    if (stage == Stage::listening)
        source.report(toplevel.appID);
}

void WlrActivationSource::Compositor::closed(Handle* handle, const Toplevel& toplevel) {
    if (active == &toplevel)
        active = nullptr;
    zwlr_foreign_toplevel_handle_v1_destroy(handle);
    toplevels.erase(handle);
}

WlrActivationSource::WlrActivationSource(QByteArray socketPath, QString ownBundleID, Identify identify)
    : m_socketPath(std::move(socketPath))
    , m_ownBundleID(std::move(ownBundleID))
    , m_identify(std::move(identify))
    , m_pause(kFirstRetry) {
    m_retry.setSingleShot(true);
    connect(&m_retry, &QTimer::timeout, this, &WlrActivationSource::connectToCompositor);
}

WlrActivationSource::~WlrActivationSource() = default;

void WlrActivationSource::start(Activated activated) {
    m_activated = std::move(activated);
    connectToCompositor();
}

void WlrActivationSource::stop() {
    m_retry.stop();
    dropCompositor();
    QCoreApplication::removePostedEvents(this, QEvent::MetaCall); // reports that are on their way
    m_pause = kFirstRetry;
    setState(State::unknown);
}

void WlrActivationSource::connectToCompositor() {
    UniqueFd socket = connectedTo(m_socketPath);
    if (!socket) {
        retryLater();
        return;
    }
    const int descriptor = socket.release();
    m_compositor = std::make_unique<Compositor>(*this, descriptor);
    m_connected.start();
    if (m_compositor->isLost()) {
        dropCompositor();
        retryLater();
        return;
    }
    m_incoming = new QSocketNotifier(descriptor, QSocketNotifier::Read, this);
    connect(m_incoming, &QSocketNotifier::activated, this, &WlrActivationSource::readEvents);
    m_outgoing = new QSocketNotifier(descriptor, QSocketNotifier::Write, this);
    connect(m_outgoing, &QSocketNotifier::activated, this, &WlrActivationSource::readEvents);
    advance();
}

// May be called by one of the notifiers.
void WlrActivationSource::dropCompositor() {
    for (QSocketNotifier** notifier : {&m_incoming, &m_outgoing}) {
        if (!*notifier)
            continue;
        (*notifier)->setEnabled(false);
        (*notifier)->deleteLater();
        *notifier = nullptr;
    }
    m_compositor.reset();
    m_isLate = false;
}

void WlrActivationSource::retryLater() {
    m_retry.start(m_pause);
    m_pause = std::min<std::chrono::milliseconds>(m_pause * 2, kLastRetry);
    setState(State::absent);
}

void WlrActivationSource::readEvents() {
    if (!m_compositor)
        return;
    if (m_compositor->send())
        m_compositor->read();
    advance();
}

// Draws the conclusions from what was read, and sends what is to be sent.
void WlrActivationSource::advance() {
    if (!m_compositor)
        return;
    using Stage = Compositor::Stage;
    Compositor& compositor = *m_compositor;
    auto news = State::unknown;
    bool isSent = !compositor.isLost() && compositor.send();
    if (isSent && !compositor.answer) {
        const bool isNew = compositor.stage == Stage::globals || compositor.stage == Stage::withoutWindows;
        if (isNew && compositor.manager) {
            compositor.stage = Stage::windows;
            compositor.ask();
            isSent = compositor.send();
        } else if (compositor.stage == Stage::globals) {
            compositor.stage = Stage::withoutWindows;
            news = State::absent;
        } else if (compositor.stage == Stage::windows) {
            compositor.stage = Stage::listening;
            news = State::present;
        }
    }
    if (compositor.isLost()) {
        // One that throws us out each time is asked ever more rarely.
        if (m_connected.hasExpired(std::chrono::milliseconds(kLastRetry).count()))
            m_pause = kFirstRetry;
        dropCompositor();
        retryLater();
        return;
    }
    m_incoming->setEnabled(isSent);
    m_outgoing->setEnabled(!isSent);
    if (news != State::unknown)
        setState(news);
}

// True when the answer that is owed has come by the deadline; false as well when it never will.
bool WlrActivationSource::awaitAnswer(const QDeadlineTimer& deadline) {
    while (m_compositor && m_compositor->answer) {
        const short next = m_outgoing->isEnabled() ? POLLOUT : POLLIN;
        pollfd socket = {wl_display_get_fd(m_compositor->display), next, 0};
        if (deadline.hasExpired() || poll(&socket, 1, static_cast<int>(deadline.remainingTime())) == 0) {
            m_isLate = true;
            return false;
        }
        readEvents();
    }
    return m_compositor != nullptr;
}

std::optional<QString> WlrActivationSource::frontmost() {
    readEvents(); // among which may be the answer that the last link waited for in vain
    const QDeadlineTimer deadline(m_isLate ? 0ms : std::chrono::milliseconds(kPatience));
    // An answer that is owed belongs to an earlier question; one that is put now is answered with what is active now.
    if (!awaitAnswer(deadline) || m_compositor->stage != Compositor::Stage::listening || m_outgoing->isEnabled())
        return std::nullopt;
    m_compositor->ask();
    advance();
    if (!awaitAnswer(deadline) || !m_compositor->active)
        return std::nullopt;
    return applicationOf(m_compositor->active->appID);
}

void WlrActivationSource::report(const QByteArray& appID) {
    QMetaObject::invokeMethod(
        this, [this, found = applicationOf(appID)] { m_activated(found); }, Qt::QueuedConnection);
}

std::optional<QString> WlrActivationSource::applicationOf(const QByteArray& appID) const {
    const QString name = QString::fromUtf8(appID);
    if (name == m_ownBundleID)
        return m_ownBundleID;
    WindowIdentity window;
    window.className = name;
    return m_identify(window);
}

} // namespace vantorel
