#include "app/AppDelegate.h"

#include "interception/URLInterceptor.h"
#include "platform/LinkSource.h"
#include "routing/Link.h"

#include <QTest>

using namespace vantorel;

class TestAppDelegate : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void start_registersTheLinkHandlerFirst_andTheIconLast_withoutRouting();
    void openURLs_routesEachInOrderWithoutSource();
    void openURLs_dropsWhatIsNoLink();
    void openFiles_turnsPathsIntoLinks_andKeepsLinks();
    void openFiles_none_routesNothing();
    void getURL_goesThroughTheInterceptor();
    void stop_savesBeforeItTakesTheLastLinks();
    void quit_isHandedOn();
    void openSettings_isHandedOn_withItsAnswer();
};

namespace {

class FakeLinkSource : public LinkSource {
public:
    explicit FakeLinkSource(QStringList& log) : m_log(log) { }

    Handlers handlers;
    std::function<void()> onStop;

    void start(Handlers given) override {
        handlers = std::move(given);
        m_log.append("link source started");
    }
    void stop() override {
        if (onStop)
            onStop();
        m_log.append("link source stopped");
    }

private:
    QStringList& m_log;
};

// Everything around the delegate, written down as it happens.
struct Rig {
    QStringList log;
    bool hasDisplay = true;
    FakeLinkSource linkSource{log};
    URLInterceptor interceptor{[this](const Link& url, const QStringList& ids) { route(url, ids); },
                               [] { return std::nullopt; }, [] { return std::nullopt; }, "own"};
    AppDelegate delegate{{
        .linkSource = linkSource,
        .interceptor = [this]() -> URLInterceptor& {
            log.append("interceptor made");
            return interceptor;
        },
        .startSourceAppTracker = [this] { log.append("tracker started"); },
        .route = [this](const Link& url, const QStringList& ids) { route(url, ids); },
        .detectBrowsers = [this] { log.append("browsers detected"); },
        .detectApps = [this] { log.append("apps detected"); },
        .setUpMenuBar = [this] { log.append("menu bar set up"); },
        .saveSettings = [this] { log.append("saved"); },
        .tearDownMenuBar = [this] { log.append("menu bar torn down"); },
        .quit = [this] { log.append("quit"); },
        .openSettings =
            [this] {
                log.append("settings");
                return hasDisplay;
            },
    }};

    void route(const Link& url, const QStringList& ids) {
        log.append(url.absoluteString() + " from [" + ids.join(',') + ']');
    }
};

} // namespace

void TestAppDelegate::start_registersTheLinkHandlerFirst_andTheIconLast_withoutRouting() {
    Rig rig;
    rig.delegate.applicationDidFinishLaunching();
    QCOMPARE(rig.log,
             (QStringList{"interceptor made", "link source started", "tracker started", "browsers detected",
                          "apps detected", "menu bar set up"}));
}

void TestAppDelegate::openURLs_routesEachInOrderWithoutSource() {
    Rig rig;
    rig.delegate.openURLs({"ftp://1", "mailto:2", "x:3"});
    QCOMPARE(rig.log, (QStringList{"ftp://1 from []", "mailto:2 from []", "x:3 from []"}));
}

void TestAppDelegate::openURLs_dropsWhatIsNoLink() {
    Rig rig;
    rig.delegate.openURLs({"word", "", "x:1"});
    QCOMPARE(rig.log, (QStringList{"x:1 from []"}));
}

void TestAppDelegate::openFiles_turnsPathsIntoLinks_andKeepsLinks() {
    Rig rig;
    rig.delegate.openFiles({"/tmp/a b#c", "file:///tmp/%7Ea#b"});
    QCOMPARE(rig.log, (QStringList{"file:///tmp/a%20b%23c from []", "file:///tmp/%7Ea#b from []"}));
}

void TestAppDelegate::openFiles_none_routesNothing() {
    Rig rig;
    rig.delegate.openFiles({});
    QVERIFY(rig.log.isEmpty());
}

void TestAppDelegate::getURL_goesThroughTheInterceptor() {
    Rig rig;
    rig.delegate.applicationDidFinishLaunching();
    rig.log.clear();
    rig.linkSource.handlers.getURL("https://1", "A");
    rig.linkSource.handlers.openURLs({"x:2"});
    rig.linkSource.handlers.openFiles({"/3"});
    QCOMPARE(rig.log, (QStringList{"https://1 from [A]", "x:2 from []", "file:///3 from []"}));
}

void TestAppDelegate::stop_savesBeforeItTakesTheLastLinks() {
    Rig rig;
    rig.delegate.applicationDidFinishLaunching();
    rig.log.clear();
    rig.linkSource.onStop = [&rig] { rig.linkSource.handlers.getURL("https://late", {}); };
    rig.delegate.applicationWillTerminate();
    QCOMPARE(rig.log, (QStringList{"saved", "menu bar torn down", "https://late from []", "link source stopped"}));
}

void TestAppDelegate::quit_isHandedOn() {
    Rig rig;
    rig.delegate.applicationDidFinishLaunching();
    rig.log.clear();
    rig.linkSource.handlers.quit();
    QCOMPARE(rig.log, (QStringList{"quit"}));
}

void TestAppDelegate::openSettings_isHandedOn_withItsAnswer() {
    Rig rig;
    rig.delegate.applicationDidFinishLaunching();
    rig.log.clear();
    QVERIFY(rig.linkSource.handlers.openSettings());
    rig.hasDisplay = false;
    QVERIFY(!rig.linkSource.handlers.openSettings());
    QCOMPARE(rig.log, (QStringList{"settings", "settings"}));
}

QTEST_GUILESS_MAIN(TestAppDelegate)
#include "TestAppDelegate.moc"
