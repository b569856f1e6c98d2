#include "routing/RulesStore.h"

#include "fakes/FakeUserDefaults.h"
#include "routing/RuleJson.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTest>

using namespace vantorel;
using namespace std::chrono_literals;

class TestRulesStore : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void load_fromNothing_hasInitialValuesAndWritesNothing();
    void load_readsWhatWasSaved();
    void load_migratesTheOlderList_andStartsTheRestAnew();
    void load_withBothLists_takesTheCurrentOne();
    void load_damagedList_ignoresTheOlderOne_andKeepsOtherSettings();
    void load_damagedOlderList_leavesItAlone();
    void performSave_putsDamagedBytesAsideFirst_once();
    void performSave_withoutRoomForTheDamagedBytes_writesNothingYet();
    void performSave_writesAllFourValues();
    void scheduleSave_burst_savesOnceAfterTheLast();
    void scheduleSave_atTheRealInterval();
    void writes_withoutScheduleSave_areNotSaved();
    void add_update_move_scheduleASave();
    void update_unknownId_doesNothing();
    void moveRule_data();
    void moveRule();
    void moveRule_unknownId_doesNothing();
    void saveForTermination_savesOnce_andEndsSaving();
    void changes_areAnnouncedBeforeAndAfter();
};

Q_DECLARE_METATYPE(QList<Rule>)

namespace {

constexpr QLatin1String kRules("com.qorbex.Vantorel.rules.v2");
constexpr QLatin1String kOlderRules("com.qorbex.Vantorel.rules");
constexpr QLatin1String kFallback("com.qorbex.Vantorel.fallback");
constexpr QLatin1String kDebugMode("com.qorbex.Vantorel.debugMode");
constexpr QLatin1String kShowTips("com.qorbex.Vantorel.showTips");

QList<Rule> threeRules() {
    return {{.name = "A"}, {.name = "B"}, {.name = "C"}};
}

QString names(const RulesStore& store) {
    QString result;
    for (const Rule& rule : store.rules())
        result += rule.name;
    return result;
}

} // namespace

void TestRulesStore::load_fromNothing_hasInitialValuesAndWritesNothing() {
    FakeUserDefaults defaults;
    const RulesStore store(defaults);
    QVERIFY(store.rules().isEmpty());
    QCOMPARE(store.fallbackBrowserID(), QString(""));
    QVERIFY(!store.debugModeEnabled());
    QVERIFY(store.showTipsEnabled());
    QVERIFY(defaults.log.isEmpty());
}

void TestRulesStore::load_readsWhatWasSaved() {
    FakeUserDefaults defaults;
    const auto rules = threeRules();
    {
        RulesStore store(defaults);
        store.setRules(rules);
        store.setFallbackBrowserID("org.browser");
        store.setDebugModeEnabled(true);
        store.setShowTipsEnabled(false);
        store.performSave();
    }
    const RulesStore store(defaults);
    QCOMPARE(store.rules(), rules);
    QCOMPARE(store.fallbackBrowserID(), QString("org.browser"));
    QVERIFY(store.debugModeEnabled());
    QVERIFY(!store.showTipsEnabled());
}

void TestRulesStore::load_migratesTheOlderList_andStartsTheRestAnew() {
    FakeUserDefaults defaults;
    const auto rules = threeRules();
    defaults.setData(kOlderRules, encodeRules(rules));
    defaults.setString(kFallback, "org.browser");
    defaults.setBoolean(kDebugMode, true);
    defaults.setBoolean(kShowTips, false);
    defaults.log.clear();

    const RulesStore store(defaults);
    QCOMPARE(store.rules(), rules);
    QCOMPARE(defaults.data(kRules), std::optional(encodeRules(rules)));
    QVERIFY(!defaults.data(kOlderRules));
    QCOMPARE(store.fallbackBrowserID(), QString(""));
    QCOMPARE(defaults.string(kFallback), std::optional(QString("")));
    QVERIFY(!store.debugModeEnabled());
    QVERIFY(store.showTipsEnabled());
    QCOMPARE(defaults.log.constLast(), QString("write"));
    QVERIFY(defaults.log.indexOf("write") < defaults.log.indexOf(QStringLiteral("remove ") + kOlderRules));
}

void TestRulesStore::load_withBothLists_takesTheCurrentOne() {
    FakeUserDefaults defaults;
    const auto rules = threeRules();
    defaults.setData(kRules, encodeRules(rules));
    defaults.setData(kOlderRules, encodeRules({}));
    defaults.log.clear();
    const RulesStore store(defaults);
    QCOMPARE(store.rules(), rules);
    QCOMPARE(defaults.data(kOlderRules), std::optional(encodeRules({})));
    QVERIFY(defaults.log.isEmpty());
}

void TestRulesStore::load_damagedList_ignoresTheOlderOne_andKeepsOtherSettings() {
    FakeUserDefaults defaults;
    defaults.setData(kRules, "damaged");
    defaults.setData(kOlderRules, encodeRules(threeRules()));
    defaults.setString(kFallback, "org.browser");
    defaults.log.clear();
    const RulesStore store(defaults);
    QVERIFY(store.rules().isEmpty());
    QCOMPARE(store.fallbackBrowserID(), QString("org.browser"));
    QCOMPARE(defaults.data(kRules), std::optional(QByteArray("damaged")));
    QVERIFY(defaults.log.isEmpty());
}

void TestRulesStore::load_damagedOlderList_leavesItAlone() {
    FakeUserDefaults defaults;
    defaults.setData(kOlderRules, "damaged");
    RulesStore store(defaults);
    store.performSave();
    QVERIFY(store.rules().isEmpty());
    QCOMPARE(defaults.data(kOlderRules), std::optional(QByteArray("damaged")));
    QVERIFY(!defaults.log.contains(QStringLiteral("keep ") + kRules));
}

void TestRulesStore::performSave_putsDamagedBytesAsideFirst_once() {
    FakeUserDefaults defaults;
    defaults.setData(kRules, "[{}]");
    defaults.log.clear();
    RulesStore store(defaults);
    store.performSave();
    store.performSave();
    QCOMPARE(defaults.log.constFirst(), QString(QStringLiteral("keep ") + kRules));
    QCOMPARE(defaults.log.count(QString(QStringLiteral("keep ") + kRules)), 1);
    QCOMPARE(defaults.data(kRules), std::optional(QByteArray("[]")));
}

void TestRulesStore::performSave_withoutRoomForTheDamagedBytes_writesNothingYet() {
    FakeUserDefaults defaults;
    defaults.setData(kRules, "damaged");
    defaults.canKeepDamaged = false;
    RulesStore store(defaults);
    store.performSave();
    QCOMPARE(defaults.writes(), 0);
    QCOMPARE(defaults.data(kRules), std::optional(QByteArray("damaged")));
    defaults.canKeepDamaged = true;
    store.performSave();
    QCOMPARE(defaults.writes(), 1);
    QCOMPARE(defaults.data(kRules), std::optional(QByteArray("[]")));
}

void TestRulesStore::performSave_writesAllFourValues() {
    FakeUserDefaults defaults;
    RulesStore store(defaults);
    store.performSave();
    QCOMPARE(defaults.log,
             (QStringList{QStringLiteral("set ") + kRules, QStringLiteral("set ") + kFallback,
                          QStringLiteral("set ") + kDebugMode, QStringLiteral("set ") + kShowTips,
                          QStringLiteral("write")}));
    QCOMPARE(defaults.string(kFallback), std::optional(QString("")));
}

void TestRulesStore::scheduleSave_burst_savesOnceAfterTheLast() {
    FakeUserDefaults defaults;
    RulesStore store(defaults, 200ms);
    store.scheduleSave();
    for (int i = 0; i < 4; ++i) {
        QTest::qWait(20);
        store.setFallbackBrowserID(QString::number(i));
        store.scheduleSave();
    }
    QCOMPARE(defaults.writes(), 0);
    QTRY_COMPARE(defaults.writes(), 1);
    QCOMPARE(defaults.string(kFallback), std::optional(QString("3")));
    QTest::qWait(300);
    QCOMPARE(defaults.writes(), 1);
}

// A lower bound is safe on any machine: a timer may be late, but never early.
void TestRulesStore::scheduleSave_atTheRealInterval() {
    FakeUserDefaults defaults;
    RulesStore store(defaults);
    QElapsedTimer sinceLast;
    for (int i = 0; i < 3; ++i) {
        QTest::qWait(i == 0 ? 0 : 100);
        store.scheduleSave();
        sinceLast.start();
    }
    QTRY_COMPARE(defaults.writes(), 1);
    QVERIFY(sinceLast.elapsed() >= 390); // coarse timers may be 5 % early
    QTest::qWait(500);
    QCOMPARE(defaults.writes(), 1);
}

void TestRulesStore::writes_withoutScheduleSave_areNotSaved() {
    FakeUserDefaults defaults;
    RulesStore store(defaults, 1ms);
    store.setFallbackBrowserID("org.browser");
    store.setRules(threeRules());
    QTest::qWait(50);
    QCOMPARE(defaults.writes(), 0);
    store.add({});
    QTRY_COMPARE(defaults.writes(), 1);
    QCOMPARE(defaults.string(kFallback), std::optional(QString("org.browser")));
}

void TestRulesStore::add_update_move_scheduleASave() {
    FakeUserDefaults defaults;
    RulesStore store(defaults, 1ms);
    Rule rule{.name = "A"};
    store.add(rule);
    QTRY_COMPARE(defaults.writes(), 1);
    store.add(rule);
    QCOMPARE(names(store), QString("AA"));
    QTRY_COMPARE(defaults.writes(), 2);
    rule.name = "B";
    store.update(rule);
    QCOMPARE(names(store), QString("BA"));
    QTRY_COMPARE(defaults.writes(), 3);
    store.moveRule(rule.id, 0);
    QCOMPARE(names(store), QString("BA"));
    QTRY_COMPARE(defaults.writes(), 4);
}

void TestRulesStore::update_unknownId_doesNothing() {
    FakeUserDefaults defaults;
    RulesStore store(defaults, 1ms);
    store.setRules(threeRules());
    const QSignalSpy changed(&store, &RulesStore::changed);
    store.update({.name = "D"});
    QTest::qWait(50);
    QCOMPARE(names(store), QString("ABC"));
    QCOMPARE(changed.count(), 0);
    QCOMPARE(defaults.writes(), 0);
}

void TestRulesStore::moveRule_data() {
    QTest::addColumn<int>("from");
    QTest::addColumn<int>("to");
    QTest::addColumn<QString>("expected");
    QTest::newRow("A to 2") << 0 << 2 << "BCA";
    QTest::newRow("A to 1") << 0 << 1 << "BAC";
    QTest::newRow("C to 0") << 2 << 0 << "CAB";
    QTest::newRow("A to 99") << 0 << 99 << "BCA";
    QTest::newRow("B to -3") << 1 << -3 << "BAC";
    QTest::newRow("A to 0") << 0 << 0 << "ABC";
    QTest::newRow("C to 3") << 2 << 3 << "ABC";
}

void TestRulesStore::moveRule() {
    QFETCH(int, from);
    QFETCH(int, to);
    FakeUserDefaults defaults;
    RulesStore store(defaults, 1ms);
    store.setRules(threeRules());
    store.moveRule(store.rules().at(from).id, to);
    QTEST(names(store), "expected");
    QTRY_COMPARE(defaults.writes(), 1);
}

void TestRulesStore::moveRule_unknownId_doesNothing() {
    FakeUserDefaults defaults;
    RulesStore store(defaults, 1ms);
    store.setRules(threeRules());
    store.moveRule(QUuid::createUuid(), 0);
    QTest::qWait(50);
    QCOMPARE(names(store), QString("ABC"));
    QCOMPARE(defaults.writes(), 0);
}

void TestRulesStore::saveForTermination_savesOnce_andEndsSaving() {
    FakeUserDefaults defaults;
    RulesStore store(defaults, 1ms);
    store.add({.name = "A"});
    store.saveForTermination();
    QCOMPARE(defaults.writes(), 1);
    QCOMPARE(defaults.data(kRules), std::optional(encodeRules(store.rules())));
    store.scheduleSave();
    QTest::qWait(50);
    QCOMPARE(defaults.writes(), 1);
}

void TestRulesStore::changes_areAnnouncedBeforeAndAfter() {
    FakeUserDefaults defaults;
    RulesStore store(defaults);
    QStringList seen;
    const auto state = [&store](RulesStore::Field field) {
        return QString("%1:%2%3%4%5")
            .arg(static_cast<int>(field))
            .arg(store.rules().size())
            .arg(store.fallbackBrowserID().size())
            .arg(store.debugModeEnabled())
            .arg(store.showTipsEnabled());
    };
    connect(&store, &RulesStore::aboutToChange, [&](auto field) { seen.append("before " + state(field)); });
    connect(&store, &RulesStore::changed, [&](auto field) { seen.append("after " + state(field)); });
    store.add({});
    store.setFallbackBrowserID("x");
    store.setDebugModeEnabled(true);
    store.setShowTipsEnabled(false);
    QCOMPARE(seen,
             (QStringList{"before 0:0001", "after 0:1001", "before 1:1001", "after 1:1101", "before 2:1101",
                          "after 2:1111", "before 3:1111", "after 3:1110"}));
}

QTEST_GUILESS_MAIN(TestRulesStore)
#include "TestRulesStore.moc"
