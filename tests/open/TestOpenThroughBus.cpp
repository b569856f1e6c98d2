#include "Sandbox.h"

#include <QTest>

#include <memory>
#include <optional>

namespace {

constexpr const char* kLink = "https://x.test/a%7Eb%2Fc?q=%41&p=|'\"`$(touch x)";

} // namespace

/// Applications that are reached over a session bus, which is a private one.
class TestOpenThroughBus : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void link_isHandedToTheApplication();
    void dashesInTheId_areUnderscoresInThePath();
    void exec_isNotUsed();
    void environment_becomesPlatformData();
    void manyLinks_arriveInOrder();
    void turnIsPassedBeforeTheAnswer();

    void refusals_data();
    void refusals();
    void linkThatIsNoText_isRefused();
    void noBus_isRefused();
    void missingService_doesNotFallBackToExec();

private:
    void addService(const QByteArray& name, const QByteArray& exec) const;
    void addRecorder(const QByteArray& name, const QByteArray& mode) const;
    void startBus();

    std::unique_ptr<Sandbox> m_box;
    std::optional<Command> m_bus;
};

void TestOpenThroughBus::init() {
    m_box = std::make_unique<Sandbox>();
}

void TestOpenThroughBus::cleanup() {
    m_bus.reset();
    m_box.reset();
}

void TestOpenThroughBus::addService(const QByteArray& name, const QByteArray& exec) const {
    m_box->write("data/dbus-1/services/" + name + ".service",
                 "[D-BUS Service]\nName=" + name + "\nExec=" + exec + '\n');
}

void TestOpenThroughBus::addRecorder(const QByteArray& name, const QByteArray& mode) const {
    addService(name, RECORDING_APPLICATION " " + name + ' ' + m_box->path("seen") + ' ' + mode);
    m_box->addEntry(name, "DBusActivatable=true");
}

void TestOpenThroughBus::startBus() {
    m_bus.emplace(QByteArrayList{"/usr/bin/dbus-daemon", "--session", "--nofork", "--nopidfile", "--print-address",
                                 "--address=unix:path=" + m_box->path("bus")},
                  m_box->environment);
    // The socket is there a moment before anybody listens; the address comes after that.
    QVERIFY(m_bus->waitForOutput());
}

void TestOpenThroughBus::link_isHandedToTheApplication() {
    addRecorder("net.web.App", "answer");
    startBus();
    // The first start activates it, the second finds it running.
    for (int i = 0; i < 2; ++i) {
        const auto outcome = m_box->open("net.web.App", kLink);
        QCOMPARE(outcome.errors, "");
        QCOMPARE(outcome.status, 0);
        QCOMPARE(outcome.output, "");
    }
    const auto line = QByteArray("/net/web/App ") + kLink + '\n';
    QCOMPARE(m_box->read("seen/opened"), line + line);
}

void TestOpenThroughBus::dashesInTheId_areUnderscoresInThePath() {
    addRecorder("net.my-web.The-App", "answer");
    startBus();
    const auto outcome = m_box->open("net.my-web.The-App", "x:y");
    QCOMPARE(outcome.errors, "");
    QCOMPARE(outcome.status, 0);
    QCOMPARE(m_box->read("seen/opened"), "/net/my_web/The_App x:y\n");
}

void TestOpenThroughBus::exec_isNotUsed() {
    addRecorder("net.web.App", "answer");
    m_box->addBrowser("web");
    m_box->addEntry("net.web.App", "DBusActivatable=true\nExec=web %u");
    startBus();
    QCOMPARE(m_box->open("net.web.App", "x:y").status, 0);
    QCOMPARE(m_box->read("seen/opened"), "/net/web/App x:y\n");
    QVERIFY(!m_box->exists("seen/web.arguments"));
}

void TestOpenThroughBus::environment_becomesPlatformData() {
    addRecorder("net.web.App", "answer");
    startBus();
    m_box->environment["DESKTOP_STARTUP_ID"] = "startup-1";
    QCOMPARE(m_box->open("net.web.App", "x:1").status, 0);
    m_box->environment["XDG_ACTIVATION_TOKEN"] = "token-2";
    QCOMPARE(m_box->open("net.web.App", "x:2").status, 0);
    m_box->environment["DESKTOP_STARTUP_ID"] = "";
    QCOMPARE(m_box->open("net.web.App", "x:3").status, 0);
    QCOMPARE(m_box->read("seen/opened"),
             "/net/web/App x:1 desktop-startup-id=startup-1\n"
             "/net/web/App x:2 desktop-startup-id=startup-1 activation-token=token-2\n"
             "/net/web/App x:3 activation-token=token-2\n");
}

void TestOpenThroughBus::turnIsPassedBeforeTheAnswer() {
    addRecorder("net.web.App", "hold");
    startBus();
    Pipe done;
    m_box->environment["VANTOREL_TURN"] = "-1," + QByteArray::number(done.writeEnd());
    auto command = m_box->start("net.web.App", "x:y", {done.writeEnd()});
    done.closeWriteEnd();
    QVERIFY(done.hungUp(60000));
    QVERIFY(command.isRunning());
    m_box->write("seen/go", "");
    const auto outcome = command.finish();
    QCOMPARE(outcome.errors, "");
    QCOMPARE(outcome.status, 0);
}

void TestOpenThroughBus::refusals_data() {
    QTest::addColumn<QByteArray>("id");
    QTest::addColumn<QByteArray>("reason"); // its beginning
    QTest::newRow("no service") << QByteArray("net.web.Absent")
                                << QByteArray("The name net.web.Absent was not provided");
    QTest::newRow("service ends at once")
        << QByteArray("net.web.Ends") << QByteArray("Process net.web.Ends exited with status 1");
    QTest::newRow("service without program") << QByteArray("net.web.Empty") << QByteArray("");
    QTest::newRow("application refuses") << QByteArray("net.web.Refuses") << QByteArray("not?today");
    QTest::newRow("no bus name") << QByteArray("web") << QByteArray("\"web\" cannot be a name on the bus");
    QTest::newRow("no bus name, digit") << QByteArray("net.7web")
                                        << QByteArray("\"net.7web\" cannot be a name on the bus");
}

void TestOpenThroughBus::refusals() {
    QFETCH(QByteArray, id);
    QFETCH(QByteArray, reason);
    addService("net.web.Ends", "/bin/false");
    addService("net.web.Empty", "/absent/program");
    m_box->addEntry(id, "DBusActivatable=true");
    addRecorder("net.web.Refuses", "refuse");
    startBus();
    const auto outcome = m_box->open(id, "x:y");
    QCOMPARE(outcome.status, 1);
    QVERIFY2(outcome.errors.startsWith(QByteArray("\"The " + id + "\" did not take the link: " + reason)),
             outcome.errors.constData());
    QCOMPARE(outcome.errors.count('\n'), 1);
    QVERIFY(outcome.errors.endsWith('\n'));
}

void TestOpenThroughBus::linkThatIsNoText_isRefused() {
    addRecorder("net.web.App", "answer");
    startBus();
    const auto outcome = m_box->open("net.web.App", "https://x.test/\xff");
    QCOMPARE(outcome.status, 1);
    QCOMPARE(outcome.errors, "\"The net.web.App\" did not take the link: the link is no UTF-8 text\n");
    QVERIFY(!m_box->exists("seen/opened"));
}

void TestOpenThroughBus::noBus_isRefused() {
    m_box->addEntry("net.web.App", "DBusActivatable=true");
    const auto outcome = m_box->open("net.web.App", "x:y");
    QCOMPARE(outcome.status, 1);
    QVERIFY2(outcome.errors.startsWith("\"The net.web.App\" did not take the link: "), outcome.errors.constData());
    QCOMPARE(outcome.errors.count('\n'), 1);
}

void TestOpenThroughBus::missingService_doesNotFallBackToExec() {
    m_box->addBrowser("web");
    m_box->addEntry("net.web.App", "DBusActivatable=true\nExec=web %u");
    startBus();
    QCOMPARE(m_box->open("net.web.App", "x:y").status, 1);
    QVERIFY(!m_box->exists("seen/web.arguments"));
}

void TestOpenThroughBus::manyLinks_arriveInOrder() {
    addRecorder("net.web.App", "answer");
    startBus();
    std::vector<Command> commands;
    std::vector<Pipe> pipes;
    QByteArray expected;
    for (int i = 0; i < kManyAtOnce; ++i) {
        pipes.emplace_back();
        const int wait = i > 0 ? pipes[i - 1].readEnd() : -1;
        const int done = pipes[i].writeEnd();
        m_box->environment["VANTOREL_TURN"] = QByteArray::number(wait) + ',' + QByteArray::number(done);
        const auto link = "x:" + QByteArray::number(i);
        commands.push_back(
            m_box->start("net.web.App", link, wait >= 0 ? std::vector<int>{wait, done} : std::vector<int>{done}));
        pipes[i].closeWriteEnd();
        expected += "/net/web/App " + link + '\n';
    }
    for (auto& command : commands) {
        const auto outcome = command.finish();
        QCOMPARE(outcome.errors, "");
        QCOMPARE(outcome.status, 0);
    }
    QCOMPARE(m_box->read("seen/opened"), expected);
}

QTEST_GUILESS_MAIN(TestOpenThroughBus)
#include "TestOpenThroughBus.moc"
