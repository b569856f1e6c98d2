#include "interception/InterceptDebugStore.h"

#include <QTest>

using namespace vantorel;

class TestInterceptDebugStore : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void lastEvent_isAbsentAtFirst_thenTheLatest();
    void changes_areAnnouncedBeforeAndAfter();
};

void TestInterceptDebugStore::lastEvent_isAbsentAtFirst_thenTheLatest() {
    InterceptDebugStore store;
    QVERIFY(!store.lastEvent());
    store.setLastEvent({.url = "1", .sourceAppIDs = {"a"}, .decision = "d"});
    store.setLastEvent({.url = "2", .sourceAppIDs = {}, .decision = "e"});
    const InterceptDebugEvent expected{.url = "2", .sourceAppIDs = {}, .decision = "e"};
    QCOMPARE(store.lastEvent(), std::optional(expected));
}

void TestInterceptDebugStore::changes_areAnnouncedBeforeAndAfter() {
    InterceptDebugStore store;
    QStringList seen;
    const auto url = [&store] { return store.lastEvent() ? store.lastEvent()->url : QString("none"); };
    connect(&store, &InterceptDebugStore::aboutToChange, [&] { seen.append("before " + url()); });
    connect(&store, &InterceptDebugStore::changed, [&] { seen.append("after " + url()); });
    store.setLastEvent({.url = "1", .sourceAppIDs = {}, .decision = {}});
    QCOMPARE(seen, (QStringList{"before none", "after 1"}));
}

QTEST_GUILESS_MAIN(TestInterceptDebugStore)
#include "TestInterceptDebugStore.moc"
