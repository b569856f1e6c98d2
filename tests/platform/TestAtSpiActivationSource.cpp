#include "platform/freedesktop/AtSpiActivationSource.h"

#include "PrivateBus.h"
#include "platform/freedesktop/WindowApplications.h"

#include <QDBusConnectionInterface>
#include <QDBusContext>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QElapsedTimer>
#include <QTest>

#include <csignal>
#include <memory>

using namespace vantorel;
using namespace std::chrono_literals;

namespace {

constexpr auto kOwnID = "com.qorbex.Vantorel";
using State = ActivationBackend::State;

} // namespace

/// Tells where the accessibility bus is.
class FakeLauncher : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.a11y.Bus")

public:
    FakeLauncher(const PrivateBus& session, QString address) : m_bus(session.connect()), m_address(std::move(address)) {
        m_bus.registerObject("/org/a11y/bus", this, QDBusConnection::ExportAllSlots);
        m_bus.registerService("org.a11y.Bus");
    }
    ~FakeLauncher() override { QDBusConnection::disconnectFromBus(m_bus.name()); }

    int refusals = 0; // still to come
    int questions = 0;

public Q_SLOTS:
    QString GetAddress() {
        ++questions;
        if (refusals > 0) {
            --refusals;
            sendErrorReply(QDBusError::Failed);
        }
        return m_address;
    }

private:
    QDBusConnection m_bus;
    QString m_address;
};

/// Remembers who wants to hear of what.
class FakeRegistry : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.a11y.atspi.Registry")

public:
    explicit FakeRegistry(const PrivateBus& accessibility) : m_bus(accessibility.connect()) {
        m_bus.registerObject("/org/a11y/atspi/registry", this, QDBusConnection::ExportAllSlots);
        m_bus.registerService("org.a11y.atspi.Registry");
    }
    ~FakeRegistry() override { QDBusConnection::disconnectFromBus(m_bus.name()); }

    QStringList events;
    bool refuses = false;

public Q_SLOTS:
    void RegisterEvent(const QString& event) {
        if (refuses)
            sendErrorReply(QDBusError::AccessDenied);
        else
            events.append(event);
    }
    void DeregisterEvent(const QString& event) { events.removeAll(event); }

private:
    QDBusConnection m_bus;
};

/// An application with windows, which belong to this very process.
class FakeApplication {
public:
    explicit FakeApplication(const PrivateBus& accessibility) : m_bus(accessibility.connect()) { }
    ~FakeApplication() { QDBusConnection::disconnectFromBus(m_bus.name()); }
    FakeApplication(const FakeApplication&) = delete;
    FakeApplication& operator=(const FakeApplication&) = delete;

    void announce(const QString& what, int window = 1) const {
        QDBusMessage message = QDBusMessage::createSignal(QString("/org/a11y/atspi/accessible/%1").arg(window),
                                                          "org.a11y.atspi.Event.Window", what);
        message << QString() << 0 << 0 << QVariant::fromValue(QDBusVariant(0)) << QVariantMap();
        m_bus.send(message);
    }
    void announceGarbage(const QString& what) const {
        m_bus.send(QDBusMessage::createSignal("/", "org.a11y.atspi.Event.Window", what));
    }
    // What has been announced goes ahead of all that anybody announces from now on.
    void waitForBus() const { QVERIFY(m_bus.interface()->isServiceRegistered("org.a11y.atspi.Registry")); }

private:
    QDBusConnection m_bus;
};

/// An application in a process of its own.
class ForeignApplication {
public:
    explicit ForeignApplication(const PrivateBus& accessibility) : m_address(accessibility.address()) {
        m_process.setProgram("/usr/bin/python3");
        m_process.setArguments({"-c", R"(
import dbus.bus, dbus.lowlevel, sys
bus = dbus.bus.BusConnection(sys.argv[1])
print("ready", flush=True)
for line in sys.stdin:
    what, window = line.split()
    path = "/org/a11y/atspi/accessible/" + window
    bus.send_message(dbus.lowlevel.SignalMessage(path, "org.a11y.atspi.Event.Window", what))
    bus.flush()
    print("done", flush=True)
)",
                                m_address});
        m_process.start();
        waitForLine();
    }
    ~ForeignApplication() { end(); }
    ForeignApplication(const ForeignApplication&) = delete;
    ForeignApplication& operator=(const ForeignApplication&) = delete;

    void end() {
        m_process.kill();
        m_process.waitForFinished();
    }

    void announce(const QString& what, int window = 1) {
        m_process.write(QString("%1 %2\n").arg(what).arg(window).toUtf8());
        waitForLine();
    }

    pid_t process() const { return static_cast<pid_t>(m_process.processId()); }
    QString id() const { return QString::number(process()); }

private:
    void waitForLine() {
        while (!m_process.canReadLine() && m_process.waitForReadyRead()) { }
        QVERIFY(!m_process.readLine().isEmpty());
    }

    QString m_address;
    QProcess m_process;
};

class TestAtSpiActivationSource : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void windowThatIsActivated_isInFront();
    void windowThatIsDeactivated_isNot();
    void deactivationOfAnotherWindow_countsNothing();
    void applicationThatIsGone_isNotInFront();
    void applicationThatIsGoneAtOnce_isNobody();
    void windowOfOurOwn_isOurs();
    void garbage_isHarmless();
    void flood_endsWithTheLastOne();

    void events_areRegistered_andDeregistered();
    void registryThatRestarts_isToldAgain();
    void registryThatRefuses_isAbsent();
    void noRegistry_isAbsent_untilItComes();

    void noAccessibility_isAbsent();
    void accessibilityThatComesLater_isFound();
    void accessibilityThatGoes_isAbsent();
    void busThatDies_isAbsent_andAskedForAgain();
    void refusedAddress_isAskedForAgain_andNotForever();
    void badAddress_isAbsent();
    void stoppedBus_holdsUpNobody();
    void stop_forgets_andStartsAgain();

private:
    void start() {
        m_source->start([this](const std::optional<QString>& id) { m_activations.append(id.value_or("(none)")); });
    }
    void startAll() {
        m_launcher = std::make_unique<FakeLauncher>(*m_session, m_accessibility->address());
        m_registry = std::make_unique<FakeRegistry>(*m_accessibility);
        start();
        QTRY_COMPARE(state(), State::present);
    }
    State state() const { return m_source->state(); }
    QString frontmost() { return m_source->frontmost().value_or("(none)"); }

    std::unique_ptr<PrivateBus> m_session, m_accessibility;
    std::optional<QDBusConnection> m_bus;
    std::unique_ptr<FakeLauncher> m_launcher;
    std::unique_ptr<FakeRegistry> m_registry;
    std::unique_ptr<AtSpiActivationSource> m_source;
    QStringList m_activations;
};

void TestAtSpiActivationSource::init() {
    m_session = std::make_unique<PrivateBus>();
    m_accessibility = std::make_unique<PrivateBus>();
    m_bus = m_session->connect();
    QVERIFY(m_bus->isConnected());
    m_activations.clear();
    m_source = std::make_unique<AtSpiActivationSource>(
        *m_bus, kOwnID,
        [](const WindowIdentity& window) {
            return window.process ? std::optional(QString::number(*window.process)) : std::nullopt;
        },
        1ms);
}

void TestAtSpiActivationSource::cleanup() {
    m_source.reset();
    m_registry.reset();
    m_launcher.reset();
    QDBusConnection::disconnectFromBus(m_bus->name());
    m_accessibility.reset();
    m_session.reset();
}

void TestAtSpiActivationSource::windowThatIsActivated_isInFront() {
    startAll();
    QCOMPARE(frontmost(), "(none)");
    ForeignApplication mail(*m_accessibility), chat(*m_accessibility);
    mail.announce("Activate");
    QTRY_COMPARE(m_activations, QStringList({mail.id()}));
    QCOMPARE(frontmost(), mail.id());
    chat.announce("Activate");
    QTRY_COMPARE(m_activations, QStringList({mail.id(), chat.id()}));
    QCOMPARE(frontmost(), chat.id());
}

void TestAtSpiActivationSource::windowThatIsDeactivated_isNot() {
    startAll();
    ForeignApplication mail(*m_accessibility);
    mail.announce("Activate");
    QTRY_COMPARE(frontmost(), mail.id());
    mail.announce("Deactivate");
    QTRY_COMPARE(frontmost(), "(none)");
    QCOMPARE(m_activations, QStringList({mail.id()}));
}

// Applications speak for themselves, so the one that is left may be heard after the one that is entered.
void TestAtSpiActivationSource::deactivationOfAnotherWindow_countsNothing() {
    startAll();
    ForeignApplication mail(*m_accessibility), chat(*m_accessibility);
    mail.announce("Activate", 1);
    QTRY_COMPARE(frontmost(), mail.id());
    chat.announce("Activate", 1);
    QTRY_COMPARE(frontmost(), chat.id());
    mail.announce("Deactivate", 1);
    chat.announce("Deactivate", 2);
    QTest::qWait(20);
    QCOMPARE(frontmost(), chat.id());
}

void TestAtSpiActivationSource::applicationThatIsGone_isNotInFront() {
    startAll();
    ForeignApplication mail(*m_accessibility);
    mail.announce("Activate");
    QTRY_COMPARE(frontmost(), mail.id());
    mail.end();
    QTRY_COMPARE(frontmost(), "(none)");
}

void TestAtSpiActivationSource::applicationThatIsGoneAtOnce_isNobody() {
    startAll();
    for (int i = 0; i < 20; ++i)
        FakeApplication(*m_accessibility).announce("Activate");
    ForeignApplication mail(*m_accessibility);
    mail.announce("Activate");
    QTRY_COMPARE(frontmost(), mail.id());
    QCOMPARE(m_activations.constLast(), mail.id());
}

void TestAtSpiActivationSource::windowOfOurOwn_isOurs() {
    startAll();
    const FakeApplication own(*m_accessibility);
    own.announce("Activate");
    QTRY_COMPARE(m_activations, QStringList({kOwnID}));
    QCOMPARE(frontmost(), kOwnID);
}

void TestAtSpiActivationSource::garbage_isHarmless() {
    startAll();
    ForeignApplication mail(*m_accessibility);
    mail.announce("Activate");
    QTRY_COMPARE(frontmost(), mail.id());
    const FakeApplication own(*m_accessibility);
    for (const char* const what : {"Deactivate", "Create", "Minimize", "Nonsense"})
        own.announceGarbage(what);
    QTest::qWait(20);
    QCOMPARE(frontmost(), mail.id());
    own.announceGarbage("Activate"); // what it says besides is of no interest
    QTRY_COMPARE(frontmost(), kOwnID);
}

void TestAtSpiActivationSource::flood_endsWithTheLastOne() {
    startAll();
    ForeignApplication mail(*m_accessibility);
    const FakeApplication own(*m_accessibility), other(*m_accessibility);
    for (int i = 0; i < 10'000; ++i) {
        (i % 2 ? own : other).announce("Activate", i);
        if (i % 3 == 0)
            own.announce("Deactivate", i);
    }
    own.waitForBus();
    other.waitForBus();
    mail.announce("Activate");
    QTRY_COMPARE_WITH_TIMEOUT(frontmost(), mail.id(), 60'000);
    QCOMPARE(m_activations.constLast(), mail.id());
    own.announce("Activate", 10'000);
    QTRY_COMPARE(frontmost(), kOwnID);
    own.announce("Deactivate", 10'000);
    QTRY_COMPARE(frontmost(), "(none)");
}

void TestAtSpiActivationSource::events_areRegistered_andDeregistered() {
    startAll();
    m_registry->events.sort();
    QCOMPARE(m_registry->events, QStringList({"window:activate", "window:deactivate"}));
    m_source->stop();
    QTRY_COMPARE(m_registry->events, QStringList());
}

void TestAtSpiActivationSource::registryThatRestarts_isToldAgain() {
    startAll();
    ForeignApplication mail(*m_accessibility);
    mail.announce("Activate");
    QTRY_COMPARE(frontmost(), mail.id());
    for (int i = 0; i < 3; ++i) {
        m_registry.reset();
        QTRY_COMPARE(state(), State::absent);
        QCOMPARE(frontmost(), "(none)"); // what happens meanwhile is not told
        m_registry = std::make_unique<FakeRegistry>(*m_accessibility);
        QTRY_COMPARE(state(), State::present);
        QCOMPARE(m_registry->events.size(), 2);
        mail.announce("Activate");
        QTRY_COMPARE(frontmost(), mail.id());
    }
}

void TestAtSpiActivationSource::registryThatRefuses_isAbsent() {
    m_launcher = std::make_unique<FakeLauncher>(*m_session, m_accessibility->address());
    m_registry = std::make_unique<FakeRegistry>(*m_accessibility);
    m_registry->refuses = true;
    start();
    QTRY_COMPARE(state(), State::absent);
    QCOMPARE(m_registry->events, QStringList());
}

void TestAtSpiActivationSource::noRegistry_isAbsent_untilItComes() {
    m_launcher = std::make_unique<FakeLauncher>(*m_session, m_accessibility->address());
    start();
    QTRY_COMPARE(state(), State::absent);
    QCOMPARE(m_launcher->questions, 1);
    m_registry = std::make_unique<FakeRegistry>(*m_accessibility);
    QTRY_COMPARE(state(), State::present);
}

void TestAtSpiActivationSource::noAccessibility_isAbsent() {
    start();
    QCOMPARE(state(), State::unknown);
    QTRY_COMPARE(state(), State::absent);
    QCOMPARE(frontmost(), "(none)");
}

void TestAtSpiActivationSource::accessibilityThatComesLater_isFound() {
    start();
    QTRY_COMPARE(state(), State::absent);
    m_launcher = std::make_unique<FakeLauncher>(*m_session, m_accessibility->address());
    m_registry = std::make_unique<FakeRegistry>(*m_accessibility);
    QTRY_COMPARE(state(), State::present);
}

void TestAtSpiActivationSource::accessibilityThatGoes_isAbsent() {
    startAll();
    ForeignApplication mail(*m_accessibility);
    mail.announce("Activate");
    QTRY_COMPARE(frontmost(), mail.id());
    m_launcher.reset();
    QTRY_COMPARE(state(), State::absent);
    QCOMPARE(frontmost(), "(none)");
    m_launcher = std::make_unique<FakeLauncher>(*m_session, m_accessibility->address());
    QTRY_COMPARE(state(), State::present);
}

void TestAtSpiActivationSource::busThatDies_isAbsent_andAskedForAgain() {
    startAll();
    ForeignApplication mail(*m_accessibility);
    mail.announce("Activate");
    QTRY_COMPARE(frontmost(), mail.id());
    m_registry.reset();
    m_accessibility->end();
    QTRY_COMPARE(state(), State::absent);
    QCOMPARE(frontmost(), "(none)");
    QTRY_COMPARE(m_launcher->questions, 6); // the first time, and five attempts
    QTest::qWait(200); // the next pause would be 32 ms
    QCOMPARE(m_launcher->questions, 6);
}

void TestAtSpiActivationSource::refusedAddress_isAskedForAgain_andNotForever() {
    m_launcher = std::make_unique<FakeLauncher>(*m_session, m_accessibility->address());
    m_registry = std::make_unique<FakeRegistry>(*m_accessibility);
    m_launcher->refusals = 2;
    start();
    QTRY_COMPARE(state(), State::present);
    QCOMPARE(m_launcher->questions, 3);
}

void TestAtSpiActivationSource::badAddress_isAbsent() {
    for (const char* const address : {"", "nonsense", "unix:path=/nonexistent", "unix:path=/dev/null", "tcp:host="}) {
        m_launcher = std::make_unique<FakeLauncher>(*m_session, address);
        start();
        QTRY_COMPARE(state(), State::absent);
        QTRY_COMPARE(m_launcher->questions, 6);
        m_source->stop();
        m_launcher.reset();
    }
}

// The process ends before it goes on as well: nobody joins what waits for the bus.
void TestAtSpiActivationSource::stoppedBus_holdsUpNobody() {
    m_launcher = std::make_unique<FakeLauncher>(*m_session, m_accessibility->address());
    m_registry = std::make_unique<FakeRegistry>(*m_accessibility);
    const auto daemon = static_cast<pid_t>(m_accessibility->process());
    QCOMPARE(kill(daemon, SIGSTOP), 0);
    QElapsedTimer timer;
    timer.start();
    start();
    QTRY_COMPARE(m_launcher->questions, 1);
    QTest::qWait(50);
    QCOMPARE(frontmost(), "(none)");
    QCOMPARE(state(), State::unknown);
    m_source->stop();
    start();
    QTRY_COMPARE(m_launcher->questions, 2);
    QVERIFY2(timer.elapsed() < 10'000, "the stopped bus was waited for");
    QCOMPARE(kill(daemon, SIGCONT), 0);
    QTRY_COMPARE(state(), State::present);
}

void TestAtSpiActivationSource::stop_forgets_andStartsAgain() {
    startAll();
    ForeignApplication mail(*m_accessibility);
    for (int i = 0; i < 3; ++i) {
        m_activations.clear();
        mail.announce("Activate");
        QTRY_COMPARE(frontmost(), mail.id());
        mail.announce("Activate"); // the answer to this one is not waited for
        m_source->stop();
        QCOMPARE(state(), State::unknown);
        QCOMPARE(frontmost(), "(none)");
        mail.announce("Activate");
        QTest::qWait(20);
        QCOMPARE(m_activations, QStringList({mail.id()}));
        start();
        QTRY_COMPARE(state(), State::present);
        QCOMPARE(frontmost(), "(none)");
    }
}

QTEST_GUILESS_MAIN(TestAtSpiActivationSource)
#include "TestAtSpiActivationSource.moc"
