#include "platform/wayland/WlrActivationSource.h"

#include "platform/freedesktop/UniqueFd.h"
#include "platform/freedesktop/WindowApplications.h"

#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QFile>
#include <QSemaphore>
#include <QTemporaryDir>
#include <QTest>

#include <array>
#include <atomic>
#include <cstring>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <wayland-server.h>
#include <wlr-foreign-toplevel-management-unstable-v1-server.h>

using namespace vantorel;
using State = ActivationBackend::State;

namespace {

const QString kOwn = QStringLiteral("com.qorbex.Vantorel");

// Far longer than anything needs.
constexpr int kPatienceMs = 30'000;

// Many times what an answer takes that is not waited for, and far less than forever.
constexpr int kAtOnceMs = 10'000;

// By then whoever has heard nothing more is taken to hear nothing more.
constexpr int kStalledMs = 500;

UniqueFd listeningAt(const QByteArray& path) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.constData(), static_cast<std::size_t>(path.size()));
    UniqueFd socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0
        || listen(socket.get(), 8) != 0)
        qFatal("no socket at %s", path.constData());
    return socket;
}

// A compositor of one client at a time, on a thread of its own. Windows belong to that thread.
class FakeCompositor {
public:
    enum class Offers { windows, nothing };
    using Window = wl_resource;

    explicit FakeCompositor(QByteArray path, Offers offers = Offers::windows) : m_path(std::move(path)) {
        m_display = wl_display_create();
        wl_display_add_socket_fd(m_display, listeningAt(m_path).release());
        m_wake = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
        m_commandSource = wl_event_loop_add_fd(
            wl_display_get_event_loop(m_display), m_wake, WL_EVENT_READABLE,
            [](int, uint32_t, void* data) {
                static_cast<FakeCompositor*>(data)->obey();
                return 0;
            },
            this);
        if (offers == Offers::windows)
            offerWindows();
        m_thread = std::thread([this] {
            while (!m_isOver) {
                wl_display_flush_clients(m_display);
                wl_event_loop_dispatch(wl_display_get_event_loop(m_display), -1);
            }
        });
    }
    ~FakeCompositor() {
        post([this] { m_isOver = true; });
        m_thread.join();
        wl_event_source_remove(m_commandSource);
        wl_display_destroy_clients(m_display);
        wl_display_destroy(m_display);
        ::close(m_wake);
        unlink(m_path.constData());
    }
    FakeCompositor(const FakeCompositor&) = delete;
    FakeCompositor& operator=(const FakeCompositor&) = delete;

    // Has it do something, as soon as it gets to it.
    void post(std::function<void()> command) {
        {
            const std::lock_guard lock(m_mutex);
            m_commands.push_back(std::move(command));
        }
        eventfd_write(m_wake, 1);
    }
    // The same, and waits until it is done and has been sent.
    void run(std::function<void()> command) {
        QSemaphore done;
        post([&] {
            command();
            wl_display_flush_clients(m_display);
            done.release();
        });
        done.acquire();
    }
    bool hasClient() {
        bool answer = false;
        run([&] { answer = wl_list_empty(wl_display_get_client_list(m_display)) == 0; });
        return answer;
    }

    // Everything below: on its thread.
    void offerWindows() {
        m_global = wl_global_create(m_display, &zwlr_foreign_toplevel_manager_v1_interface, 3, this,
                                    [](wl_client* client, void* data, uint32_t version, uint32_t id) {
                                        static_cast<FakeCompositor*>(data)->bind(client, version, id);
                                    });
    }
    void withdrawWindows() { wl_global_destroy(m_global); }
    // Called when a client has bound to the windows, to announce what is open already.
    std::function<void()> whenBound;

    Window* open() {
        wl_client* const client = wl_resource_get_client(manager);
        Window* const window = wl_resource_create(client, &zwlr_foreign_toplevel_handle_v1_interface, 1, 0);
        static const struct zwlr_foreign_toplevel_handle_v1_interface requests = [] {
            struct zwlr_foreign_toplevel_handle_v1_interface known = {};
            known.destroy = [](wl_client*, wl_resource* resource) {
                ++static_cast<FakeCompositor*>(wl_resource_get_user_data(resource))->destroyed;
                wl_resource_destroy(resource);
            };
            return known;
        }();
        wl_resource_set_implementation(window, &requests, this, nullptr);
        zwlr_foreign_toplevel_manager_v1_send_toplevel(manager, window);
        return window;
    }
    static void name(Window* window, const char* appID) { zwlr_foreign_toplevel_handle_v1_send_app_id(window, appID); }
    static void state(Window* window, std::vector<uint32_t> states) {
        wl_array array = {states.size() * sizeof(uint32_t), 0, states.data()};
        zwlr_foreign_toplevel_handle_v1_send_state(window, &array);
    }
    static void activate(Window* window) {
        state(window,
              {ZWLR_FOREIGN_TOPLEVEL_HANDLE_V1_STATE_MAXIMIZED, ZWLR_FOREIGN_TOPLEVEL_HANDLE_V1_STATE_ACTIVATED});
    }
    static void deactivate(Window* window) { state(window, {ZWLR_FOREIGN_TOPLEVEL_HANDLE_V1_STATE_MAXIMIZED}); }
    static void done(Window* window) { zwlr_foreign_toplevel_handle_v1_send_done(window); }
    static void close(Window* window) { zwlr_foreign_toplevel_handle_v1_send_closed(window); }
    Window* openActive(const char* appID) {
        Window* const window = open();
        name(window, appID);
        activate(window);
        done(window);
        return window;
    }

    wl_resource* manager = nullptr;
    std::atomic<int> bound = 0;
    std::atomic<int> destroyed = 0;

private:
    void bind(wl_client* client, uint32_t version, uint32_t id) {
        manager =
            wl_resource_create(client, &zwlr_foreign_toplevel_manager_v1_interface, static_cast<int>(version), id);
        wl_resource_set_implementation(manager, nullptr, this, nullptr);
        if (whenBound)
            whenBound();
        ++bound;
    }
    void obey() {
        eventfd_t count = 0;
        eventfd_read(m_wake, &count);
        for (;;) {
            std::function<void()> command;
            {
                const std::lock_guard lock(m_mutex);
                if (m_commands.empty())
                    return;
                command = std::move(m_commands.front());
                m_commands.pop_front();
            }
            command();
        }
    }

    QByteArray m_path;
    wl_display* m_display = nullptr;
    wl_global* m_global = nullptr;
    wl_event_source* m_commandSource = nullptr;
    int m_wake = -1;
    std::mutex m_mutex;
    std::deque<std::function<void()>> m_commands;
    bool m_isOver = false;
    std::thread m_thread;
};

using Compositor = FakeCompositor;

// Keeps a compositor from doing anything at all for as long as this lives.
class Silence {
public:
    explicit Silence(FakeCompositor& compositor) {
        compositor.post([this] {
            m_begun.release();
            m_over.acquire();
            m_left.release();
        });
        m_begun.acquire();
    }
    ~Silence() {
        m_over.release();
        m_left.acquire();
    }
    Silence(const Silence&) = delete;
    Silence& operator=(const Silence&) = delete;

private:
    QSemaphore m_begun, m_over, m_left;
};

// The source under test, in a session of its own.
struct Session {
    QTemporaryDir folder;
    QByteArray path = QFile::encodeName(folder.filePath("wayland-1"));
    QStringList heard;
    WlrActivationSource source{path, kOwn, [](const WindowIdentity& window) {
                                   return window.className.startsWith("unknown") || window.className.isEmpty()
                                       ? std::nullopt
                                       : std::optional("id of " + window.className);
                               }};

    void start() {
        source.start([this](const std::optional<QString>& id) { heard.append(id.value_or("(absent)")); });
    }
    bool isPresent() const { return source.state() == State::present; }
    bool isAbsent() const { return source.state() == State::absent; }
    // Everything that was sent before this has been heard afterwards.
    std::optional<QString> settled() {
        const auto front = source.frontmost();
        QCoreApplication::processEvents();
        return front;
    }
};

// Runs the event loop until the condition is true; does not doze in between, as QTRY_VERIFY does.
bool spin(const std::function<bool()>& condition, int patienceMs = kPatienceMs) {
    const QDeadlineTimer deadline(patienceMs);
    while (!condition() && !deadline.hasExpired())
        QCoreApplication::processEvents();
    return condition();
}

#define TRY_VERIFY(condition) QTRY_VERIFY_WITH_TIMEOUT(condition, kPatienceMs)
#define TRY_COMPARE(value, expected) QTRY_COMPARE_WITH_TIMEOUT(value, expected, kPatienceMs)

} // namespace

class TestWlrActivationSource : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void socketPath_data();
    void socketPath();
    void windowThatIsActiveAlready_isInFront_butHasNotBecomeActive();
    void firstQuestion_isAnswered_whileTheConnectionIsBeingMade();
    void activation_counts_whenItIsDone();
    void name_mayComeAfterTheActivation();
    void name_mayChange();
    void ownWindows_areOurs_whateverIsInstalled();
    void windowWithoutName_isAbsent();
    void nothingIsInFront_whenTheActiveWindowIsNoMore();
    void ofSeveralActiveWindows_theLastCounts();
    void eventsForAClosedWindow_areIgnored();
    void strangeStates_areIgnored();
    void tenThousandWindows();
    void compositorThatDoesNotRead();
    void finished_isTheEndOfIt_untilItIsThereAgain();
    void protocolError_isSurvived();
    void compositorWithoutTheProtocol_isAbsent_untilItHasIt();
    void protocolThatIsWithdrawn_isAbsent();
    void noCompositor_isAbsentAtOnce();
    void compositorThatDies_isFoundAgain();
    void silentCompositor_isWaitedForOnce();
    void silentCompositor_isWaitedForOnce_atTheStart();
    void garbage_data();
    void garbage();
    void stop_withdrawsEverything();
};

void TestWlrActivationSource::socketPath_data() {
    QTest::addColumn<QByteArray>("display");
    QTest::addColumn<QByteArray>("folder");
    QTest::addColumn<QByteArray>("path");
    QTest::newRow("name") << QByteArray("wayland-1") << QByteArray("/run/user/1000")
                          << QByteArray("/run/user/1000/wayland-1");
    QTest::newRow("absolute") << QByteArray("/srv/display") << QByteArray("/run/user/1000")
                              << QByteArray("/srv/display");
    QTest::newRow("absolute, no folder") << QByteArray("/srv/display") << QByteArray() << QByteArray("/srv/display");
    QTest::newRow("no folder") << QByteArray("wayland-1") << QByteArray() << QByteArray();
    QTest::newRow("no folder to rely on") << QByteArray("wayland-1") << QByteArray("run") << QByteArray();
    QTest::newRow("no display") << QByteArray() << QByteArray("/run/user/1000") << QByteArray();
}

void TestWlrActivationSource::socketPath() {
    QFETCH(const QByteArray, display);
    QFETCH(const QByteArray, folder);
    QTEST(waylandSocketPath(display, folder), "path");
}

void TestWlrActivationSource::windowThatIsActiveAlready_isInFront_butHasNotBecomeActive() {
    Session session;
    Compositor compositor(session.path);
    compositor.whenBound = [&] { compositor.openActive("editor"); };
    session.start();
    QCOMPARE(session.source.state(), State::unknown);
    TRY_VERIFY(session.isPresent());
    QCOMPARE(session.settled(), QString("id of editor"));
    QCOMPARE(session.heard, QStringList());
    compositor.run([&] { compositor.openActive("terminal"); });
    TRY_COMPARE(session.heard, QStringList("id of terminal"));
}

void TestWlrActivationSource::firstQuestion_isAnswered_whileTheConnectionIsBeingMade() {
    Session session;
    Compositor compositor(session.path);
    compositor.whenBound = [&] { compositor.openActive("editor"); };
    session.start();
    QCOMPARE(session.source.frontmost(), QString("id of editor"));
    QVERIFY(session.isPresent());
}

void TestWlrActivationSource::activation_counts_whenItIsDone() {
    Session session;
    Compositor compositor(session.path);
    session.start();
    TRY_VERIFY(session.isPresent());
    Compositor::Window* window = nullptr;
    compositor.run([&] {
        window = compositor.open();
        compositor.name(window, "editor");
        compositor.activate(window);
    });
    QCOMPARE(session.settled(), std::nullopt);
    QCOMPARE(session.heard, QStringList());
    compositor.run([&] { compositor.done(window); });
    QCOMPARE(session.settled(), QString("id of editor"));
    QCOMPARE(session.heard, QStringList("id of editor"));
    // Nothing new: the window is active as before.
    compositor.run([&] {
        compositor.activate(window);
        compositor.done(window);
    });
    QCOMPARE(session.settled(), QString("id of editor"));
    QCOMPARE(session.heard.size(), 1);
    compositor.run([&] {
        compositor.deactivate(window);
        compositor.done(window);
        compositor.activate(window);
        compositor.done(window);
    });
    QCOMPARE(session.settled(), QString("id of editor"));
    QCOMPARE(session.heard.size(), 2);
}

void TestWlrActivationSource::name_mayComeAfterTheActivation() {
    Session session;
    Compositor compositor(session.path);
    session.start();
    TRY_VERIFY(session.isPresent());
    Compositor::Window* window = nullptr;
    compositor.run([&] {
        window = compositor.open();
        compositor.activate(window);
        compositor.done(window);
    });
    QCOMPARE(session.settled(), std::nullopt);
    QCOMPARE(session.heard, QStringList("(absent)"));
    compositor.run([&] {
        compositor.name(window, "editor");
        compositor.done(window);
    });
    QCOMPARE(session.settled(), QString("id of editor"));
    QCOMPARE(session.heard, QStringList({"(absent)", "id of editor"}));
}

void TestWlrActivationSource::name_mayChange() {
    Session session;
    Compositor compositor(session.path);
    session.start();
    TRY_VERIFY(session.isPresent());
    compositor.run([&] {
        Compositor::Window* const background = compositor.open();
        compositor.name(background, "player");
        compositor.done(background);
        Compositor::Window* const window = compositor.openActive("editor");
        compositor.name(background, "other player");
        compositor.done(background);
        compositor.name(window, "terminal");
        compositor.done(window);
        compositor.name(window, "not yet");
    });
    QCOMPARE(session.settled(), QString("id of terminal"));
    QCOMPARE(session.heard, QStringList({"id of editor", "id of terminal"}));
}

void TestWlrActivationSource::ownWindows_areOurs_whateverIsInstalled() {
    Session session;
    Compositor compositor(session.path);
    session.start();
    TRY_VERIFY(session.isPresent());
    compositor.run([&] { compositor.openActive(qPrintable(kOwn)); });
    QCOMPARE(session.settled(), kOwn);
    QCOMPARE(session.heard, QStringList(kOwn));
}

void TestWlrActivationSource::windowWithoutName_isAbsent() {
    Session session;
    Compositor compositor(session.path);
    session.start();
    TRY_VERIFY(session.isPresent());
    compositor.run([&] {
        compositor.openActive("editor");
        compositor.openActive("");
    });
    QCOMPARE(session.settled(), std::nullopt);
    compositor.run([&] { compositor.openActive("unknown"); });
    QCOMPARE(session.settled(), std::nullopt);
    QCOMPARE(session.heard, QStringList({"id of editor", "(absent)", "(absent)"}));
}

void TestWlrActivationSource::nothingIsInFront_whenTheActiveWindowIsNoMore() {
    Session session;
    Compositor compositor(session.path);
    session.start();
    TRY_VERIFY(session.isPresent());
    Compositor::Window* window = nullptr;
    compositor.run([&] { window = compositor.openActive("editor"); });
    QCOMPARE(session.settled(), QString("id of editor"));
    compositor.run([&] {
        compositor.deactivate(window);
        compositor.done(window);
    });
    QCOMPARE(session.settled(), std::nullopt);
    compositor.run([&] {
        compositor.activate(window);
        compositor.done(window);
        compositor.close(window);
    });
    QCOMPARE(session.settled(), std::nullopt);
    TRY_COMPARE(compositor.destroyed.load(), 1);
}

void TestWlrActivationSource::ofSeveralActiveWindows_theLastCounts() {
    Session session;
    Compositor compositor(session.path);
    session.start();
    TRY_VERIFY(session.isPresent());
    std::array<Compositor::Window*, 2> windows = {};
    compositor.run([&] { windows = {compositor.openActive("editor"), compositor.openActive("terminal")}; });
    QCOMPARE(session.settled(), QString("id of terminal"));
    // The order in which compositors announce a change: what becomes active first, what ceases to be after it.
    compositor.run([&] {
        compositor.deactivate(windows[0]);
        compositor.done(windows[0]);
    });
    QCOMPARE(session.settled(), QString("id of terminal"));
    QCOMPARE(session.heard, QStringList({"id of editor", "id of terminal"}));
}

void TestWlrActivationSource::eventsForAClosedWindow_areIgnored() {
    Session session;
    Compositor compositor(session.path);
    session.start();
    TRY_VERIFY(session.isPresent());
    compositor.run([&] {
        Compositor::Window* const window = compositor.openActive("editor");
        compositor.close(window);
        compositor.name(window, "ghost");
        compositor.activate(window);
        compositor.done(window);
        compositor.close(window);
    });
    QCOMPARE(session.settled(), std::nullopt);
    QCOMPARE(session.heard, QStringList("id of editor"));
    compositor.run([&] { compositor.openActive("terminal"); });
    QCOMPARE(session.settled(), QString("id of terminal"));
    QCOMPARE(compositor.destroyed.load(), 1);
}

void TestWlrActivationSource::strangeStates_areIgnored() {
    Session session;
    Compositor compositor(session.path);
    session.start();
    TRY_VERIFY(session.isPresent());
    compositor.run([&] {
        Compositor::Window* const window = compositor.open();
        compositor.name(window, "editor");
        compositor.state(window, {});
        compositor.done(window);
        compositor.state(window, std::vector<uint32_t>(200, 0xffffffff));
        compositor.done(window);
        // Two bytes of a number that would mean "activated".
        uint32_t activated = ZWLR_FOREIGN_TOPLEVEL_HANDLE_V1_STATE_ACTIVATED;
        wl_array half = {2, 0, &activated};
        zwlr_foreign_toplevel_handle_v1_send_state(window, &half);
        compositor.done(window);
    });
    QCOMPARE(session.settled(), std::nullopt);
    QCOMPARE(session.heard, QStringList());
}

void TestWlrActivationSource::tenThousandWindows() {
    constexpr int kAtOnce = 100;
    constexpr int kAll = 10'000;
    Session session;
    Compositor compositor(session.path);
    session.start();
    TRY_VERIFY(session.isPresent());
    compositor.run([&] { compositor.openActive("editor"); });
    // No more at a time than the socket holds: a compositor gives up a client that lags behind.
    for (int count = kAtOnce; count <= kAll; count += kAtOnce) {
        compositor.run([&] {
            for (int i = 0; i < kAtOnce; ++i)
                compositor.close(compositor.openActive("fleeting"));
        });
        QVERIFY(spin([&] { return compositor.destroyed.load() == count; }));
    }
    QCOMPARE(session.settled(), std::nullopt);
    QCOMPARE(session.heard.size(), 1 + kAll);

    std::vector<Compositor::Window*> windows;
    for (int count = 0; count < kAll; count += kAtOnce) {
        compositor.run([&] {
            for (int i = 0; i < kAtOnce; ++i)
                windows.push_back(compositor.openActive("lasting"));
        });
        QCOMPARE(session.settled(), QString("id of lasting"));
    }
    compositor.run([&] { compositor.openActive("terminal"); });
    QCOMPARE(session.settled(), QString("id of terminal"));
    QCOMPARE(session.heard.last(), QString("id of terminal"));
    QVERIFY(session.isPresent());
}

// What the program has to say piles up until nothing more fits: then it hears nothing either, and loses nothing.
void TestWlrActivationSource::compositorThatDoesNotRead() {
    constexpr int kAtOnce = 50;
    Session session;
    Compositor compositor(session.path);
    session.start();
    TRY_VERIFY(session.isPresent());
    QSemaphore next, sent;
    std::atomic<bool> isOver = false;
    compositor.post([&] {
        for (;;) {
            next.acquire();
            if (isOver)
                return;
            for (int i = 0; i < kAtOnce; ++i)
                compositor.close(compositor.openActive("fleeting"));
            wl_client_flush(wl_resource_get_client(compositor.manager));
            sent.release();
        }
    });
    int windows = 0;
    do {
        next.release();
        sent.acquire();
        windows += kAtOnce;
    } while (windows < 1'000'000 && spin([&] { return session.heard.size() == windows; }, kStalledMs));
    qInfo("full after %d windows", windows);
    QVERIFY(windows < 1'000'000);
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < 2'000; ++i)
        QCOMPARE(session.source.frontmost(), std::nullopt);
    QVERIFY(timer.elapsed() < kAtOnceMs);
    isOver = true;
    next.release();
    QVERIFY(spin([&] { return session.heard.size() == windows && compositor.destroyed == windows; }));
    QVERIFY(session.isPresent());
    compositor.run([&] { compositor.openActive("editor"); });
    TRY_COMPARE(session.source.frontmost(), QString("id of editor"));
    QCOMPARE(compositor.bound.load(), 1);
}

void TestWlrActivationSource::finished_isTheEndOfIt_untilItIsThereAgain() {
    Session session;
    Compositor compositor(session.path);
    session.start();
    TRY_VERIFY(session.isPresent());
    compositor.run([&] {
        compositor.openActive("editor");
        zwlr_foreign_toplevel_manager_v1_send_finished(compositor.manager);
        wl_resource_destroy(compositor.manager);
    });
    TRY_VERIFY(session.isAbsent());
    QCOMPARE(session.source.frontmost(), std::nullopt);
    TRY_VERIFY(session.isPresent());
    QCOMPARE(compositor.bound.load(), 2);
    compositor.run([&] { compositor.openActive("terminal"); });
    QCOMPARE(session.settled(), QString("id of terminal"));
}

void TestWlrActivationSource::protocolError_isSurvived() {
    Session session;
    Compositor compositor(session.path);
    session.start();
    TRY_VERIFY(session.isPresent());
    compositor.run([&] {
        compositor.openActive("editor");
        wl_resource_post_error(compositor.manager, 7, "for no reason");
    });
    TRY_VERIFY(session.isAbsent());
    QCOMPARE(session.source.frontmost(), std::nullopt);
    TRY_VERIFY(session.isPresent());
    compositor.run([&] { compositor.openActive("terminal"); });
    QCOMPARE(session.settled(), QString("id of terminal"));
}

void TestWlrActivationSource::compositorWithoutTheProtocol_isAbsent_untilItHasIt() {
    Session session;
    Compositor compositor(session.path, Compositor::Offers::nothing);
    session.start();
    QCOMPARE(session.source.frontmost(), std::nullopt);
    QVERIFY(session.isAbsent());
    {
        // Nothing is asked of it any more: it could not answer.
        const Silence silence(compositor);
        QCOMPARE(session.source.frontmost(), std::nullopt);
    }
    compositor.whenBound = [&] { compositor.openActive("editor"); };
    compositor.run([&] { compositor.offerWindows(); });
    TRY_VERIFY(session.isPresent());
    QCOMPARE(session.settled(), QString("id of editor"));
    QCOMPARE(session.heard, QStringList());
}

void TestWlrActivationSource::protocolThatIsWithdrawn_isAbsent() {
    Session session;
    Compositor compositor(session.path);
    session.start();
    TRY_VERIFY(session.isPresent());
    compositor.run([&] {
        compositor.openActive("editor");
        compositor.withdrawWindows();
    });
    TRY_VERIFY(session.isAbsent());
    QCOMPARE(session.source.frontmost(), std::nullopt);
    compositor.run([&] { compositor.offerWindows(); });
    TRY_VERIFY(session.isPresent());
}

void TestWlrActivationSource::noCompositor_isAbsentAtOnce() {
    Session session;
    session.start();
    QVERIFY(session.isAbsent());
    QCOMPARE(session.source.frontmost(), std::nullopt);
    Compositor compositor(session.path);
    TRY_VERIFY(session.isPresent());
}

void TestWlrActivationSource::compositorThatDies_isFoundAgain() {
    Session session;
    {
        Compositor compositor(session.path);
        session.start();
        TRY_VERIFY(session.isPresent());
        compositor.run([&] { compositor.openActive("editor"); });
        QCOMPARE(session.settled(), QString("id of editor"));
    }
    // Nobody has told the program yet.
    QCOMPARE(session.source.frontmost(), std::nullopt);
    QVERIFY(session.isAbsent());
    Compositor compositor(session.path);
    compositor.whenBound = [&] { compositor.openActive("player"); };
    TRY_VERIFY(session.isPresent());
    QCOMPARE(session.settled(), QString("id of player"));
    compositor.run([&] { compositor.openActive("terminal"); });
    QCOMPARE(session.settled(), QString("id of terminal"));
    QCOMPARE(session.heard, QStringList({"id of editor", "id of terminal"}));
}

void TestWlrActivationSource::silentCompositor_isWaitedForOnce() {
    Session session;
    Compositor compositor(session.path);
    session.start();
    TRY_VERIFY(session.isPresent());
    Compositor::Window* window = nullptr;
    compositor.run([&] { window = compositor.openActive("editor"); });
    QCOMPARE(session.settled(), QString("id of editor"));
    {
        const Silence silence(compositor);
        compositor.post([&] { compositor.openActive("terminal"); });
        QElapsedTimer timer;
        timer.start();
        // At 30 ms each this would take a minute.
        for (int i = 0; i < 2'000; ++i)
            QCOMPARE(session.source.frontmost(), std::nullopt);
        QVERIFY2(timer.elapsed() < kAtOnceMs, qPrintable(QString::number(timer.elapsed())));
        QVERIFY(session.isPresent());
    }
    // It is waited for again from its first answer on.
    TRY_COMPARE(session.heard, QStringList({"id of editor", "id of terminal"}));
    TRY_COMPARE(session.source.frontmost(), QString("id of terminal"));
    QCOMPARE(session.source.frontmost(), QString("id of terminal"));
}

void TestWlrActivationSource::silentCompositor_isWaitedForOnce_atTheStart() {
    Session session;
    Compositor compositor(session.path);
    compositor.whenBound = [&] { compositor.openActive("editor"); };
    {
        const Silence silence(compositor);
        session.start();
        QElapsedTimer timer;
        timer.start();
        for (int i = 0; i < 2'000; ++i)
            QCOMPARE(session.source.frontmost(), std::nullopt);
        QVERIFY2(timer.elapsed() < kAtOnceMs, qPrintable(QString::number(timer.elapsed())));
        QCOMPARE(session.source.state(), State::unknown);
    }
    TRY_VERIFY(session.isPresent());
    QCOMPARE(session.source.frontmost(), QString("id of editor"));
}

void TestWlrActivationSource::garbage_data() {
    QTest::addColumn<QByteArray>("bytes");
    const auto message = [](uint32_t object, uint32_t opcode, const std::vector<uint32_t>& arguments) {
        std::vector<uint32_t> words = {object, opcode | static_cast<uint32_t>(8 + 4 * arguments.size()) << 16};
        words.insert(words.end(), arguments.begin(), arguments.end());
        return QByteArray(reinterpret_cast<const char*>(words.data()), static_cast<qsizetype>(4 * words.size()));
    };
    // Objects: 1 is the display, 2 the registry, 3 the answer that is owed.
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("half a header") << QByteArray(5, '\x01');
    QTest::newRow("zeros") << QByteArray(4096, '\0');
    QTest::newRow("ones") << QByteArray(4096, '\xff');
    QTest::newRow("letters") << QByteArray("HTTP/1.1 400 Bad Request\r\n\r\n");
    QTest::newRow("unknown event") << message(2, 99, {});
    QTest::newRow("too short") << message(3, 0, {});
    QTest::newRow("text without end") << message(2, 0, {1, 0x7fffffff, 0x41414141, 1});
    QTest::newRow("error of nothing") << message(1, 0, {0, 0, 0});
    QTest::newRow("error of an unknown object") << message(1, 0, {4711, 1, 4, 0x00414141});
    QTest::newRow("forgets what is in use") << message(1, 1, {2}) + message(1, 1, {1}) + message(1, 1, {3});
    QTest::newRow("two answers") << message(3, 0, {0}) + message(3, 0, {0});
    QTest::newRow("event of an object that is not there") << message(0xff000001, 0, {0, 0});
}

// Whoever listens there, it is no compositor.
void TestWlrActivationSource::garbage() {
    QFETCH(const QByteArray, bytes);
    Session session;
    const UniqueFd listening = listeningAt(session.path);
    session.start();
    {
        const UniqueFd client(accept(listening.get(), nullptr, nullptr));
        QVERIFY(client);
        QCOMPARE(send(client.get(), bytes.constData(), static_cast<std::size_t>(bytes.size()), MSG_NOSIGNAL),
                 bytes.size());
        QCOMPARE(session.source.frontmost(), std::nullopt);
        QCoreApplication::processEvents();
        QVERIFY(!session.isPresent());
    }
    TRY_VERIFY(session.isAbsent());
    QCOMPARE(session.source.frontmost(), std::nullopt);
    QCOMPARE(session.heard, QStringList());
}

void TestWlrActivationSource::stop_withdrawsEverything() {
    Session session;
    Compositor compositor(session.path);
    session.start();
    TRY_VERIFY(session.isPresent());
    QVERIFY(compositor.hasClient());
    compositor.run([&] { compositor.openActive("editor"); });
    session.source.frontmost(); // has heard of it, and not told yet
    session.source.stop();
    QCOMPARE(session.source.state(), State::unknown);
    QCOMPARE(session.source.frontmost(), std::nullopt);
    TRY_VERIFY(!compositor.hasClient());
    QCOMPARE(session.heard, QStringList());

    session.start();
    session.source.stop();
    TRY_VERIFY(!compositor.hasClient());
    QCOMPARE(session.source.state(), State::unknown);

    session.start();
    TRY_VERIFY(session.isPresent());
    compositor.run([&] { compositor.openActive("terminal"); });
    QCOMPARE(session.settled(), QString("id of terminal"));
    QCOMPARE(session.heard, QStringList("id of terminal"));
}

QTEST_GUILESS_MAIN(TestWlrActivationSource)
#include "TestWlrActivationSource.moc"
