#include "discovery/BrowserDetector.h"
#include "discovery/KnownBrowsers.h"

#include <QMap>
#include <QSemaphore>
#include <QSignalSpy>
#include <QTest>
#include <QThread>
#include <QThreadPool>

#include <atomic>

using namespace vantorel;

namespace {

constexpr auto kOwn = "com.qorbex.Vantorel";

/// A desktop of plain values.
struct FakeDesktop : LinkApplications, BundleReader {
    QStringList handlers; // locations
    QMap<QString, QString> locations; // by id
    QMap<QString, BundleInfo> bundles; // by location
    QString askedScheme;

    void install(const QString& id, const QString& location, std::optional<QString> displayName,
                 std::optional<QString> name = {}) {
        locations.insert(id, location);
        bundles.insert(location, {.identifier = id, .displayName = displayName, .name = name, .icon = "icon-" + id});
    }

    QStringList locationsForScheme(const QString& scheme) override {
        askedScheme = scheme;
        return handlers;
    }
    std::optional<QString> locationOf(const QString& id) override {
        return locations.contains(id) ? std::optional(locations[id]) : std::nullopt;
    }
    std::optional<BundleInfo> bundleAt(const QString& location) override {
        return bundles.contains(location) ? std::optional(bundles[location]) : std::nullopt;
    }
};

QStringList idsOf(const QList<BrowserInfo>& browsers) {
    QStringList ids;
    for (const BrowserInfo& browser : browsers)
        ids.append(browser.id);
    return ids;
}

} // namespace

class TestBrowserDetector : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { desktop = std::make_shared<FakeDesktop>(); }

    void knownTable_hasNine();
    void handlers_areListedByName();
    void knownBrowser_isListedOnlyWhereInstalled();
    void handlerThatIsKnown_isListedOnce_whereTheDesktopReportsIt();
    void names_displayNameThenNameThenId();
    void itself_isNeverListed();
    void sameNames_keepTheOrderInWhichTheyWereFound();
    void handlerWithoutBundleOrIdentifier_isPassedOver();
    void handlerWhoseIdLivesElsewhere_getsThatLocation();
    void handlerWhoseIdLivesNowhere_isPassedOver();
    void refresh_returnsAtOnce_andPublishesOnTheMainThread();
    void refresh_replacesTheWholeList();
    void overlappingRefreshes_bothPublish();
    void deletedDetector_isNotPublishedTo();

private:
    QList<BrowserInfo> detect(const QStringList& knownIDs = {}) const {
        return BrowserDetector::detect({desktop, desktop}, knownIDs, kOwn);
    }
    BrowserDetector::TakeSnapshot snapshots() const {
        return [desktop = desktop] { return BrowserDetector::Snapshot{desktop, desktop}; };
    }

    std::shared_ptr<FakeDesktop> desktop;
};

void TestBrowserDetector::knownTable_hasNine() {
    QCOMPARE(kKnownBrowsers.size(), size_t{9});
    QCOMPARE(QString(kKnownBrowsers.front().bundleID), QString("com.apple.Safari"));
    QCOMPARE(QString(kKnownBrowsers.back().bundleID), QString("com.kagi.kagimacOS"));
}

void TestBrowserDetector::handlers_areListedByName() {
    desktop->install("z", "/z", "Alpha");
    desktop->install("a", "/a", "beta");
    desktop->install("m", "/m", "Gamma");
    desktop->handlers = {"/m", "/a", "/z"};
    const auto browsers = detect();
    QCOMPARE(desktop->askedScheme, QString("https"));
    QCOMPARE(idsOf(browsers), (QStringList{"z", "a", "m"}));
    QCOMPARE(browsers[0].name, QString("Alpha"));
    QCOMPARE(browsers[0].appURL, QUrl("file:///z"));
    QCOMPARE(browsers[0].icon, QString("icon-z"));
}

void TestBrowserDetector::knownBrowser_isListedOnlyWhereInstalled() {
    desktop->install("known", "/known", "Known");
    QCOMPARE(idsOf(detect({"absent", "known", "known"})), QStringList{"known"});
}

void TestBrowserDetector::handlerThatIsKnown_isListedOnce_whereTheDesktopReportsIt() {
    for (const char* const id : {"first", "second", "third"})
        desktop->install(id, QString("/") + id, "Same");
    desktop->handlers = {"/third", "/second"};
    QCOMPARE(idsOf(detect({"first", "second"})), (QStringList{"third", "second", "first"}));
}

void TestBrowserDetector::names_displayNameThenNameThenId() {
    desktop->install("a", "/a", "Display", "Name");
    desktop->install("b", "/b", {}, "Name");
    desktop->install("c", "/c", {});
    desktop->install("d", "/d", "", "Name");
    desktop->handlers = {"/a", "/b", "/c", "/d"};
    QMap<QString, QString> names;
    for (const BrowserInfo& browser : detect())
        names.insert(browser.id, browser.name);
    QCOMPARE(names, (QMap<QString, QString>{{"a", "Display"}, {"b", "Name"}, {"c", "c"}, {"d", ""}}));
}

void TestBrowserDetector::itself_isNeverListed() {
    desktop->install(kOwn, "/own", "Own");
    desktop->install("com.qorbex.vantorel", "/similar", "Similar");
    desktop->handlers = {"/own", "/similar"};
    QCOMPARE(idsOf(detect({kOwn})), QStringList{"com.qorbex.vantorel"});
}

void TestBrowserDetector::sameNames_keepTheOrderInWhichTheyWereFound() {
    QStringList expected;
    for (int i = 0; i < 40; ++i) {
        const QString id = QString::number((i * 7) % 40);
        desktop->install(id, "/" + id, "Web");
        desktop->handlers.append("/" + id);
        expected.append(id);
    }
    QCOMPARE(idsOf(detect()), expected);
}

void TestBrowserDetector::handlerWithoutBundleOrIdentifier_isPassedOver() {
    desktop->install("a", "/a", "A");
    desktop->bundles.insert("/anonymous", {.identifier = {}, .displayName = "Anonymous", .name = {}, .icon = {}});
    desktop->handlers = {"/gone", "/anonymous", "/a"};
    QCOMPARE(idsOf(detect()), QStringList{"a"});
}

void TestBrowserDetector::handlerWhoseIdLivesElsewhere_getsThatLocation() {
    desktop->install("a", "/old", "Old");
    desktop->install("a", "/new", "New");
    desktop->handlers = {"/old"};
    const auto browsers = detect();
    QCOMPARE(idsOf(browsers), QStringList{"a"});
    QCOMPARE(browsers[0].appURL, QUrl("file:///new"));
    QCOMPARE(browsers[0].name, QString("New"));
}

void TestBrowserDetector::handlerWhoseIdLivesNowhere_isPassedOver() {
    desktop->install("a", "/a", "A");
    desktop->locations.remove("a");
    desktop->handlers = {"/a"};
    QCOMPARE(idsOf(detect({"a"})), QStringList());
}

void TestBrowserDetector::refresh_returnsAtOnce_andPublishesOnTheMainThread() {
    desktop->install("a", "/a", "A");
    desktop->handlers = {"/a"};
    QSemaphore mayScan;
    std::atomic<QThread*> scanThread = nullptr;
    BrowserDetector detector(
        [&] {
            mayScan.acquire();
            scanThread = QThread::currentThread();
            return BrowserDetector::Snapshot{desktop, desktop};
        },
        {}, kOwn);
    QThread* publishThread = nullptr;
    connect(
        &detector, &BrowserDetector::browsersChanged, &detector, [&] { publishThread = QThread::currentThread(); },
        Qt::DirectConnection);
    detector.refresh();
    QVERIFY(detector.browsers().isEmpty());
    mayScan.release();
    QTRY_COMPARE(detector.browsers().size(), 1);
    QCOMPARE(publishThread, QThread::currentThread());
    QVERIFY(scanThread.load() != QThread::currentThread());
}

void TestBrowserDetector::refresh_replacesTheWholeList() {
    desktop->install("a", "/a", "A");
    desktop->install("b", "/b", "B");
    desktop->handlers = {"/a"};
    BrowserDetector detector(snapshots(), {}, kOwn);
    QSignalSpy spy(&detector, &BrowserDetector::browsersChanged);
    detector.refresh();
    QTRY_COMPARE(spy.count(), 1);
    QCOMPARE(idsOf(detector.browsers()), QStringList{"a"});
    desktop->handlers = {"/b"};
    detector.refresh();
    QTRY_COMPARE(spy.count(), 2);
    QCOMPARE(idsOf(detector.browsers()), QStringList{"b"});
}

void TestBrowserDetector::overlappingRefreshes_bothPublish() {
    desktop->install("a", "/a", "A");
    desktop->handlers = {"/a"};
    BrowserDetector detector(snapshots(), {}, kOwn);
    QSignalSpy spy(&detector, &BrowserDetector::browsersChanged);
    QThreadPool::globalInstance()->setMaxThreadCount(1); // the fake desktop is not for two threads
    detector.refresh();
    detector.refresh();
    QTRY_COMPARE(spy.count(), 2);
    QCOMPARE(idsOf(detector.browsers()), QStringList{"a"});
}

void TestBrowserDetector::deletedDetector_isNotPublishedTo() {
    QSemaphore mayScan;
    auto detector = std::make_unique<BrowserDetector>(
        [&] {
            mayScan.acquire();
            return BrowserDetector::Snapshot{desktop, desktop};
        },
        QStringList(), kOwn);
    QSignalSpy spy(detector.get(), &BrowserDetector::browsersChanged);
    detector->refresh();
    detector.reset();
    mayScan.release();
    QVERIFY(QThreadPool::globalInstance()->waitForDone());
    QCoreApplication::sendPostedEvents();
    QCOMPARE(spy.count(), 0);
}

QTEST_GUILESS_MAIN(TestBrowserDetector)
#include "TestBrowserDetector.moc"
