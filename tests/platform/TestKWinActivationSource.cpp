#include "platform/freedesktop/KWinActivationSource.h"

#include "PrivateBus.h"
#include "platform/freedesktop/WindowApplications.h"

#include <QDBusContext>
#include <QDBusMessage>
#include <QDeadlineTimer>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include <QTimer>

#include <memory>

using namespace vantorel;
using namespace std::chrono_literals;

namespace {

constexpr auto kOwnID = "com.qorbex.Vantorel";

using Window = QStringList; // desktop file, class, instance, process
const Window kMail = {"org.example.Mail", "mail", "mail-window", "4711"};
const Window kChat = {"org.example.Chat", "chat", "chat-window", "4712"};
const Window kNothing = {"", "", "", ""};

QVariantList asArguments(const QStringList& texts) {
    return QVariantList(texts.begin(), texts.end());
}

void sendReport(QDBusConnection bus, const QString& target, const QString& method, const QVariantList& arguments) {
    QDBusMessage message =
        QDBusMessage::createMethodCall(target, "/com/qorbex/Vantorel/KWin", "com.qorbex.Vantorel.KWin", method);
    message.setArguments(arguments);
    bus.send(message);
}

} // namespace

/// What KWin offers to scripts, without windows: it writes down what it is asked, and reports what the test says.
class FakeKWin : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.kwin.Scripting")

public:
    explicit FakeKWin(const PrivateBus& bus) : m_bus(bus.connect()) { }
    ~FakeKWin() override { QDBusConnection::disconnectFromBus(m_bus.name()); }

    void appear() {
        m_bus.registerObject("/Scripting", this, QDBusConnection::ExportAllSlots);
        QVERIFY(m_bus.registerService("org.kde.KWin"));
    }

    void report(const QString& method, const Window& window) { reportRaw(method, asArguments(window)); }
    void reportRaw(const QString& method, const QVariantList& arguments) {
        sendReport(m_bus, m_target, method, arguments);
    }

    QStringList log;
    int refusals = 0; // still to come
    int number = 7;
    Window active = kMail;
    QString scriptFile;
    QFile::Permissions scriptPermissions;

public Q_SLOTS:
    bool unloadScript(const QString& name) {
        log.append("unload " + name);
        return true;
    }

    int loadScript(const QString& file, const QString& name) {
        log.append("load " + name);
        if (refusals > 0) {
            --refusals;
            sendErrorReply(QDBusError::AccessDenied);
            return 0;
        }
        scriptFile = file;
        scriptPermissions = QFile::permissions(file);
        QFile script(file);
        if (script.open(QIODevice::ReadOnly)) {
            static const QRegularExpression uniqueName("\"(:[0-9.]+)\"");
            m_target = uniqueName.match(QString::fromUtf8(script.readAll())).captured(1);
        }
        return number;
    }

    void start() {
        log.append("start");
        // KWin reads the script on a thread of its own, and runs it after it has answered.
        QTimer::singleShot(0, this, [this] {
            if (QFile::exists(scriptFile))
                report("Active", active);
        });
    }

private:
    QDBusConnection m_bus;
    QString m_target; // whom the script reports to
};

class TestKWinActivationSource : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void activeWindow_isInFront_andNotAnActivation();
    void activations_areReportedInOrder();
    void nothingActive_isNobody();
    void scriptOfAnEarlierRun_isReplaced();
    void scriptFile_isPrivateAndRemoved();
    void windowOfOurOwn_isOurs();
    void processes_data();
    void processes();

    void strangers_areNotBelieved();
    void garbage_isIgnored_data();
    void garbage_isIgnored();

    void noKWin_isAbsent_andNotStarted();
    void kwinThatComesLater_isFound();
    void kwinThatRestarts_isAskedAgain();
    void refusal_isTriedAgain_andNotForever();
    void refusalAtFirst_isOvercome();
    void noRuntimeFolder_isAbsent();

    void firstLink_waitsForTheFirstReport();
    void silentKWin_isNotWaitedForAgain();

    void stop_unloadsAndForgets();
    void stop_whileLoading_unloads();
    void destruction_unloads();

private:
    void start() {
        m_source->start([this](const std::optional<QString>& id) { m_activations.append(id.value_or("(none)")); });
    }
    ActivationBackend::State state() const { return m_source->state(); }
    QString frontmost() { return m_source->frontmost().value_or("(none)"); }

    std::unique_ptr<QTemporaryDir> m_runtime;
    std::unique_ptr<PrivateBus> m_daemon;
    std::optional<QDBusConnection> m_bus;
    std::unique_ptr<FakeKWin> m_kwin;
    std::unique_ptr<KWinActivationSource> m_source;
    QList<WindowIdentity> m_identities;
    QStringList m_activations;
};

using State = ActivationBackend::State;

void TestKWinActivationSource::init() {
    m_runtime = std::make_unique<QTemporaryDir>();
    qputenv("XDG_RUNTIME_DIR", QFile::encodeName(m_runtime->path()));
    m_daemon = std::make_unique<PrivateBus>(m_runtime->path() + "/data");
    m_bus = m_daemon->connect();
    QVERIFY(m_bus->isConnected());
    m_kwin = std::make_unique<FakeKWin>(*m_daemon);
    m_identities.clear();
    m_activations.clear();
    m_source = std::make_unique<KWinActivationSource>(
        *m_bus, kOwnID,
        [this](const WindowIdentity& window) {
            m_identities.append(window);
            return window.kdeDesktopFile.isEmpty() ? std::nullopt : std::optional(window.kdeDesktopFile);
        },
        1ms);
}

void TestKWinActivationSource::cleanup() {
    m_source.reset();
    m_kwin.reset();
    QDBusConnection::disconnectFromBus(m_bus->name());
    m_daemon.reset();
}

void TestKWinActivationSource::activeWindow_isInFront_andNotAnActivation() {
    m_kwin->appear();
    QCOMPARE(state(), State::unknown);
    start();
    QTRY_COMPARE(state(), State::present);
    QCOMPARE(frontmost(), kMail[0]);
    QCOMPARE(m_identities.size(), 1);
    QCOMPARE(m_identities[0].className, kMail[1]);
    QCOMPARE(m_identities[0].instance, kMail[2]);
    QCOMPARE(m_identities[0].process, std::optional<pid_t>(4711));
    QCOMPARE(m_activations, QStringList());
}

void TestKWinActivationSource::activations_areReportedInOrder() {
    m_kwin->appear();
    start();
    QTRY_COMPARE(state(), State::present);
    QStringList expected;
    for (int i = 0; i < 1000; ++i) {
        const Window& window = i % 2 == 0 ? kChat : kMail;
        m_kwin->report("Activated", window);
        expected.append(window[0]);
    }
    QTRY_COMPARE(m_activations.size(), expected.size());
    QCOMPARE(m_activations, expected);
    QCOMPARE(frontmost(), kMail[0]);
}

void TestKWinActivationSource::nothingActive_isNobody() {
    m_kwin->active = kNothing;
    m_kwin->appear();
    start();
    QTRY_COMPARE(state(), State::present);
    QCOMPARE(frontmost(), "(none)");
    m_kwin->report("Activated", kMail);
    m_kwin->report("Activated", kNothing);
    QTRY_COMPARE(m_activations, QStringList({kMail[0], "(none)"}));
    QCOMPARE(frontmost(), "(none)");
}

void TestKWinActivationSource::scriptOfAnEarlierRun_isReplaced() {
    m_kwin->appear();
    start();
    QTRY_COMPARE(state(), State::present);
    QCOMPARE(m_kwin->log, QStringList({QString("unload ") + kOwnID, QString("load ") + kOwnID, "start"}));
}

void TestKWinActivationSource::scriptFile_isPrivateAndRemoved() {
    m_kwin->appear();
    start();
    QTRY_COMPARE(m_kwin->log.value(2), "start");
    QVERIFY(m_kwin->scriptFile.startsWith(m_runtime->path()));
    const auto others = QFile::ReadGroup | QFile::WriteGroup | QFile::ReadOther | QFile::WriteOther;
    QVERIFY(!(m_kwin->scriptPermissions & others));
    QTRY_VERIFY(!QFile::exists(m_kwin->scriptFile));
}

void TestKWinActivationSource::windowOfOurOwn_isOurs() {
    m_kwin->active = {"org.example.Mail", "", "", QString::number(QCoreApplication::applicationPid())};
    m_kwin->appear();
    start();
    QTRY_COMPARE(state(), State::present);
    QCOMPARE(frontmost(), kOwnID);
}

void TestKWinActivationSource::processes_data() {
    QTest::addColumn<int>("process");
    QTest::newRow("12") << 12;
    for (const char* const none : {"", "0", "-1", "1.5", "99999999999", "NaN", "undefined"})
        QTest::newRow(none) << 0;
}

void TestKWinActivationSource::processes() {
    QFETCH(int, process);
    m_kwin->active = {"org.example.Mail", "", "", QTest::currentDataTag()};
    m_kwin->appear();
    start();
    QTRY_COMPARE(state(), State::present);
    QCOMPARE(m_identities.value(0).process.value_or(0), process);
}

void TestKWinActivationSource::strangers_areNotBelieved() {
    m_kwin->appear();
    start();
    QTRY_COMPARE(state(), State::present);
    const QDBusConnection stranger = m_daemon->connect();
    for (const char* const method : {"Active", "Activated"})
        sendReport(stranger, m_bus->baseService(), method, asArguments(kChat));
    // Whoever is heard by the bus after the stranger is heard by us after it.
    QVERIFY(stranger.call(QDBusMessage::createMethodCall("org.freedesktop.DBus", "/", "org.freedesktop.DBus", "GetId"))
                .type()
            == QDBusMessage::ReplyMessage);
    QCOMPARE(frontmost(), kMail[0]);
    m_kwin->report("Activated", kMail);
    QTRY_COMPARE(m_activations, QStringList({kMail[0]}));
    QDBusConnection::disconnectFromBus(stranger.name());
}

void TestKWinActivationSource::garbage_isIgnored_data() {
    QTest::addColumn<QVariantList>("arguments");
    QTest::newRow("none") << QVariantList();
    QTest::newRow("too few") << QVariantList{"a", "b", "c"};
    QTest::newRow("numbers") << QVariantList{1, 2, 3, 4};
    QTest::newRow("lists") << QVariantList{QStringList{"a"}, "b", "c", "d"};
}

void TestKWinActivationSource::garbage_isIgnored() {
    QFETCH(QVariantList, arguments);
    m_kwin->appear();
    start();
    QTRY_COMPARE(state(), State::present);
    for (const char* const method : {"Active", "Activated", "deleteLater", "onOwnerChanged"})
        m_kwin->reportRaw(method, arguments);
    m_kwin->report("Activated", kChat);
    QTRY_COMPARE(m_activations, QStringList({kChat[0]}));
    QCOMPARE(m_identities.size(), 2);
}

void TestKWinActivationSource::noKWin_isAbsent_andNotStarted() {
    const QString services = m_runtime->path() + "/data/dbus-1/services";
    const QString trace = m_runtime->path() + "/started";
    QVERIFY(QDir().mkpath(services));
    QFile service(services + "/org.kde.KWin.service");
    QVERIFY(service.open(QIODevice::WriteOnly));
    service.write("[D-BUS Service]\nName=org.kde.KWin\nExec=/usr/bin/touch " + QFile::encodeName(trace) + '\n');
    service.close();
    PrivateBus daemon(m_runtime->path() + "/data");
    const QDBusConnection bus = daemon.connect();
    {
        KWinActivationSource source(bus, kOwnID, [](const WindowIdentity&) { return std::nullopt; });
        source.start([](const std::optional<QString>&) {});
        QCOMPARE(source.frontmost(), std::nullopt);
        QTRY_COMPARE(source.state(), State::absent);
        QCOMPARE(source.frontmost(), std::nullopt);
    }
    const auto ping = QDBusMessage::createMethodCall("org.kde.KWin", "/", "org.freedesktop.DBus.Peer", "Ping");
    QVERIFY(!QFile::exists(trace));
    bus.send(ping); // the trap is in working order
    QTRY_VERIFY(QFile::exists(trace));
    QDBusConnection::disconnectFromBus(bus.name());
}

void TestKWinActivationSource::kwinThatComesLater_isFound() {
    start();
    QTRY_COMPARE(state(), State::absent);
    m_kwin->appear();
    QTRY_COMPARE(state(), State::present);
    QCOMPARE(frontmost(), kMail[0]);
}

void TestKWinActivationSource::kwinThatRestarts_isAskedAgain() {
    m_kwin->appear();
    start();
    QTRY_COMPARE(state(), State::present);
    m_kwin = std::make_unique<FakeKWin>(*m_daemon);
    QTRY_COMPARE(state(), State::absent);
    QCOMPARE(frontmost(), "(none)");
    m_kwin->active = kChat;
    m_kwin->appear();
    QTRY_COMPARE(state(), State::present);
    QCOMPARE(frontmost(), kChat[0]);
    QCOMPARE(m_activations, QStringList());
}

void TestKWinActivationSource::refusal_isTriedAgain_andNotForever() {
    m_kwin->refusals = 1000;
    m_kwin->appear();
    start();
    QTRY_COMPARE(m_kwin->log.size(), 12); // six times unload and load
    QTest::qWait(200); // the next pause would be 32 ms
    QCOMPARE(m_kwin->log.size(), 12);
    QCOMPARE(state(), State::absent);
    QCOMPARE(frontmost(), "(none)");
    m_kwin = std::make_unique<FakeKWin>(*m_daemon);
    m_kwin->appear();
    QTRY_COMPARE(state(), State::present);
}

void TestKWinActivationSource::refusalAtFirst_isOvercome() {
    m_kwin->refusals = 2;
    m_kwin->appear();
    start();
    QTRY_COMPARE(state(), State::present);
    QCOMPARE(m_kwin->log.count("start"), 1);
    QCOMPARE(QDir(m_runtime->path()).entryList({"*.js"}), QStringList());
}

void TestKWinActivationSource::noRuntimeFolder_isAbsent() {
    qputenv("XDG_RUNTIME_DIR", "/dev/null");
    m_kwin->appear();
    start();
    QTRY_COMPARE(state(), State::absent);
    qunsetenv("XDG_RUNTIME_DIR");
    QTRY_COMPARE(m_kwin->log.count(QString("unload ") + kOwnID), 6);
    QCOMPARE(state(), State::absent);
}

// KWin answers from a thread of its own, because the link holds the main thread.
void TestKWinActivationSource::firstLink_waitsForTheFirstReport() {
    m_kwin->appear();
    QThread thread;
    m_kwin->moveToThread(&thread);
    thread.start();
    start();
    // The wait is short on purpose, and the machine may be busy: a later link finds what the first did not. The event
    // loop does not run meanwhile.
    QString found = frontmost();
    for (const QDeadlineTimer deadline(30s); found == "(none)" && !deadline.hasExpired(); found = frontmost())
        QThread::msleep(5);
    QThread* const mainThread = QThread::currentThread();
    QMetaObject::invokeMethod(
        m_kwin.get(), [&] { m_kwin->moveToThread(mainThread); }, Qt::BlockingQueuedConnection);
    thread.quit();
    thread.wait();
    QCOMPARE(found, kMail[0]);
    QCOMPARE(m_activations, QStringList());
}

void TestKWinActivationSource::silentKWin_isNotWaitedForAgain() {
    m_kwin->appear();
    start();
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < 1000; ++i)
        QCOMPARE(frontmost(), "(none)");
    QVERIFY2(timer.elapsed() < 10'000, "each link waits");
    QTRY_COMPARE(state(), State::present);
    QCOMPARE(frontmost(), kMail[0]);
}

void TestKWinActivationSource::stop_unloadsAndForgets() {
    m_kwin->appear();
    for (int i = 0; i < 3; ++i) {
        start();
        QTRY_COMPARE(state(), State::present);
        QCOMPARE(frontmost(), kMail[0]);
        m_kwin->log.clear();
        m_source->stop();
        QCOMPARE(state(), State::unknown);
        QTRY_COMPARE(m_kwin->log, QStringList({QString("unload ") + kOwnID}));
        QCOMPARE(frontmost(), "(none)");
    }
    m_kwin->report("Activated", kChat);
    QTest::qWait(20);
    QCOMPARE(frontmost(), "(none)");
    QCOMPARE(m_activations, QStringList());
    m_source->stop();
    QCOMPARE(state(), State::unknown);
}

void TestKWinActivationSource::stop_whileLoading_unloads() {
    m_kwin->appear();
    start();
    QTRY_VERIFY(!m_kwin->log.isEmpty());
    m_source->stop();
    QTRY_VERIFY(m_kwin->log.size() >= 2 && m_kwin->log.constLast() == QString("unload ") + kOwnID);
    QTest::qWait(20);
    QCOMPARE(m_kwin->log.constLast(), QString("unload ") + kOwnID);
    QCOMPARE(state(), State::unknown);
    QCOMPARE(QDir(m_runtime->path()).entryList({"*.js"}), QStringList());
}

void TestKWinActivationSource::destruction_unloads() {
    m_kwin->appear();
    start();
    QTRY_COMPARE(state(), State::present);
    m_source.reset();
    QTRY_COMPARE(m_kwin->log.constLast(), QString("unload ") + kOwnID);
    m_kwin->report("Activated", kChat);
    QTest::qWait(20);
    QCOMPARE(m_activations, QStringList());
}

QTEST_GUILESS_MAIN(TestKWinActivationSource)
#include "TestKWinActivationSource.moc"
