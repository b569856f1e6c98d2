#include "interception/BrowserLauncher.h"

#include "platform/AppCatalog.h"
#include "platform/ProcessRunner.h"
#include "routing/Link.h"

#include <QTest>

using namespace vantorel;

class TestBrowserLauncher : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void open_runsTheOpener_andLogsNothingYet();
    void open_unknownBrowser_startsNothing();
    void open_emptyBrowser_isLookedUpLikeAnyOther();
    void open_thatCannotBeStarted_logsOneError();
    void exit_data();
    void exit();
    void open_linkWithPlaceholders_isNotFormatted();
};

namespace {

class FakeCatalog : public AppCatalog {
public:
    bool isInstalled(const QString& id) const override { return id == "org.browser"; }
};

class FakeRunner : public ProcessRunner {
public:
    std::optional<QString> failure;
    QList<QByteArrayList> started;
    Finished finished;

    std::optional<QString> start(const QByteArray& program, const QByteArrayList& arguments,
                                 Finished onFinished) override {
        started.append(QByteArrayList{program.mid(program.lastIndexOf('/') + 1)} + arguments);
        finished = std::move(onFinished);
        return failure;
    }
};

QStringList g_log;

void record(QtMsgType type, const QMessageLogContext& context, const QString& message) {
    const QString level = type == QtCriticalMsg ? "error" : type == QtDebugMsg ? "debug" : "other";
    g_log.append(QString::fromLatin1(context.category) + ' ' + level + ' ' + message);
}

const FakeCatalog g_catalog;

} // namespace

void TestBrowserLauncher::initTestCase() {
    qInstallMessageHandler(record);
}

void TestBrowserLauncher::cleanupTestCase() {
    qInstallMessageHandler(nullptr);
}

void TestBrowserLauncher::init() {
    g_log.clear();
}

void TestBrowserLauncher::open_runsTheOpener_andLogsNothingYet() {
    FakeRunner runner;
    BrowserLauncher::open(*Link::parse("https://x.test/%7e|"), "org.browser", g_catalog, runner);
    QCOMPARE(runner.started, (QList<QByteArrayList>{{"vantorel-open", "-b", "org.browser", "https://x.test/%7e%7C"}}));
    QVERIFY(g_log.isEmpty());
}

void TestBrowserLauncher::open_unknownBrowser_startsNothing() {
    FakeRunner runner;
    BrowserLauncher::open(*Link::parse("https://x.test/"), "org.Browser", g_catalog, runner);
    QVERIFY(runner.started.isEmpty());
    QCOMPARE(g_log,
             (QStringList{"com.qorbex.Vantorel.launcher error No application found for bundle ID: org.Browser"}));
}

void TestBrowserLauncher::open_emptyBrowser_isLookedUpLikeAnyOther() {
    FakeRunner runner;
    BrowserLauncher::open(*Link::parse("https://x.test/"), "", g_catalog, runner);
    QVERIFY(runner.started.isEmpty());
    QCOMPARE(g_log, (QStringList{"com.qorbex.Vantorel.launcher error No application found for bundle ID: "}));
}

void TestBrowserLauncher::open_thatCannotBeStarted_logsOneError() {
    FakeRunner runner;
    runner.failure = "No such file";
    BrowserLauncher::open(*Link::parse("https://x.test/"), "org.browser", g_catalog, runner);
    QCOMPARE(g_log,
             (QStringList{"com.qorbex.Vantorel.launcher error "
                          "Failed to launch /usr/bin/open for https://x.test/ in org.browser: No such file"}));
}

void TestBrowserLauncher::exit_data() {
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("standardError");
    QTest::addColumn<QString>("message");
    const QString failed = "error Failed to open https://x.test/ in org.browser: ";
    QTest::newRow("success") << 0 << QByteArray() << "debug Successfully opened https://x.test/ in org.browser";
    QTest::newRow("reason") << 1 << QByteArray(" \n gone away \t\n") << failed + "gone away";
    QTest::newRow("no reason") << 1 << QByteArray() << failed;
    QTest::newRow("no UTF-8") << 1 << QByteArray("\xFF\xFE") << failed + "exit code 1";
    QTest::newRow("no UTF-8, other status") << 9 << QByteArray("a\x80") << failed + "exit code 9";
    QTest::newRow("cut UTF-8") << 2 << QByteArray("a\xC3") << failed + "exit code 2";
    QTest::newRow("byte order mark") << 1 << QByteArray("\xEF\xBB\xBFgone") << failed + QChar(0xFEFF) + "gone";
    QTest::newRow("non-ASCII reason") << 1 << QByteArray("gelöscht") << failed + "gelöscht";
}

void TestBrowserLauncher::exit() {
    QFETCH(int, status);
    QFETCH(QByteArray, standardError);
    QFETCH(QString, message);
    FakeRunner runner;
    BrowserLauncher::open(*Link::parse("https://x.test/"), "org.browser", g_catalog, runner);
    runner.finished({.status = status, .standardError = standardError});
    QCOMPARE(g_log, QStringList{"com.qorbex.Vantorel.launcher " + message});
}

void TestBrowserLauncher::open_linkWithPlaceholders_isNotFormatted() {
    FakeRunner runner;
    BrowserLauncher::open(*Link::parse("https://x.test/%1%2F%s"), "org.browser", g_catalog, runner);
    runner.finished({.status = 1, .standardError = "%1 %s"});
    QCOMPARE(g_log,
             (QStringList{"com.qorbex.Vantorel.launcher error "
                          "Failed to open https://x.test/%251%2F%25s in org.browser: %1 %s"}));
}

QTEST_GUILESS_MAIN(TestBrowserLauncher)
#include "TestBrowserLauncher.moc"
