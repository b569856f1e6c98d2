#include "settings/RuleListModel.h"

#include "fakes/FakeUserDefaults.h"
#include "routing/RulesStore.h"
#include "settings/Detectors.h"
#include "settings/RowMirror.h"

#include <QAbstractItemModelTester>
#include <QRandomGenerator>
#include <QSignalSpy>
#include <QTest>

#include <limits>

using namespace vantorel;

Q_DECLARE_METATYPE(Rule)

class TestRuleListModel : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void title_isNameElsePatternElseAppRule();
    void names_areThoseOfTheDetectors_elseTheLastPieceOfTheId_data();
    void names_areThoseOfTheDetectors_elseTheLastPieceOfTheId();
    void names_ofASharedId_areThoseOfTheFirst();
    void appName_isAbsentForAnyApplication();
    void roles_giveWhatTheAccessorsGive();
    void checkState_canBeSet();
    void rowOf_isTheFirst();
    void setEnabled_replacesTheRuleInTheStore_andSaves();
    void moveRule_data();
    void moveRule();
    void moveBy_data();
    void moveBy();
    void moveBy_ofASharedId_movesTheFirst();
    void removeRule_removesTheFirst_andSaves();
    void newNames_changeOnlyTheirRows();
    void otherFields_changeNothing();
    void changeInALongList_isOneSignal();
    void storeChangedBySomebodyWhoHears_isFollowed();
    void anythingDoneToTheStore_isFollowedWithoutReset();

private:
    void setNames(const QStringList& names) {
        QList<Rule> rules;
        for (const QString& name : names)
            rules.append({.name = name});
        store->setRules(rules);
    }
    QStringList names() const {
        QStringList result;
        for (const Rule& rule : store->rules())
            result.append(rule.name);
        return result;
    }
    bool isSaved() {
        const bool saved = QTest::qWaitFor([this] { return defaults->writes() > 0; }, 5000);
        defaults->log.clear();
        return saved;
    }
    /// A save would come in the next turn of the event loop.
    bool isNotSaved() {
        QTest::qWait(20);
        return defaults->writes() == 0;
    }

    std::unique_ptr<FakeUserDefaults> defaults;
    std::unique_ptr<RulesStore> store;
    std::unique_ptr<Detectors> detectors;
    std::unique_ptr<RuleListModel> model;
    std::unique_ptr<QAbstractItemModelTester> tester;
    std::unique_ptr<RowMirror> mirror;
};

void TestRuleListModel::init() {
    defaults = std::make_unique<FakeUserDefaults>();
    store = std::make_unique<RulesStore>(*defaults, std::chrono::milliseconds(0));
    detectors = std::make_unique<Detectors>();
    model = std::make_unique<RuleListModel>(*store, detectors->browsers, detectors->apps);
    tester =
        std::make_unique<QAbstractItemModelTester>(model.get(), QAbstractItemModelTester::FailureReportingMode::Fatal);
    mirror = std::make_unique<RowMirror>(*model, [this](int row) { return QVariant::fromValue(model->rule(row)); });
}

void TestRuleListModel::cleanup() {
    QCOMPARE(mirror->resets, 0);
    mirror.reset();
    tester.reset();
    model.reset();
    detectors.reset();
    store.reset();
    defaults.reset();
}

void TestRuleListModel::title_isNameElsePatternElseAppRule() {
    store->setRules({{.name = "Work", .pattern = "a"}, {.pattern = " a,\nb "}, {}});
    QCOMPARE(model->title(0), QString("Work"));
    QCOMPARE(model->title(1), QString(" a,\nb "));
    QCOMPARE(model->title(2), QString("App Rule"));
}

void TestRuleListModel::names_areThoseOfTheDetectors_elseTheLastPieceOfTheId_data() {
    QTest::addColumn<QString>("id");
    QTest::addColumn<QString>("browser");
    QTest::addColumn<QString>("app");
    QTest::newRow("installed as both") << "org.a.Both"
                                       << "The browser"
                                       << "The application";
    QTest::newRow("other letter case") << "org.a.both"
                                       << "both"
                                       << "both";
    QTest::newRow("without a name") << "org.a.Nameless"
                                    << ""
                                    << "";
    QTest::newRow("not installed") << "org.example.Browser"
                                   << "Browser"
                                   << "Browser";
    QTest::newRow("dot at the end") << "org.example.."
                                    << "example"
                                    << "example";
    QTest::newRow("no dot") << "firefox"
                            << "firefox"
                            << "firefox";
    QTest::newRow("dots only") << ".."
                               << ".."
                               << "..";
}

void TestRuleListModel::names_areThoseOfTheDetectors_elseTheLastPieceOfTheId() {
    QFETCH(QString, id);
    detectors->setBrowsers({{"org.a.Both", "The browser"}, {"org.a.Nameless", ""}});
    detectors->setApps({{"org.a.Both", "The application"}, {"org.a.Nameless", ""}});
    store->setRules({{.browserBundleID = id, .sourceAppBundleID = id}});
    QTEST(model->browserName(0), "browser");
    QTEST(model->appName(0).value(), "app");
    QCOMPARE(displayName(id, detectors->browsers.browsers()), model->browserName(0));
    QCOMPARE(displayName(id, detectors->apps.apps()), model->appName(0));
}

void TestRuleListModel::names_ofASharedId_areThoseOfTheFirst() {
    const QList<AppInfo> apps = {{.id = "x.a", .name = "First", .appURL = {}, .icon = {}},
                                 {.id = "x.a", .name = "Second", .appURL = {}, .icon = {}}};
    QCOMPARE(AppNames(apps).nameOf("x.a"), QString("First"));
    QCOMPARE(displayName("x.a", apps), QString("First"));
}

void TestRuleListModel::appName_isAbsentForAnyApplication() {
    store->setRules({{}, {.sourceAppBundleID = ""}});
    QVERIFY(!model->appName(0));
    QVERIFY(!model->appName(1));
    QVERIFY(!model->index(1).data(RuleListModel::AppNameRole).isValid());
    QCOMPARE(model->browserName(0), QString(""));
}

void TestRuleListModel::roles_giveWhatTheAccessorsGive() {
    store->setRules({{.name = "Work", .browserBundleID = "org.B", .isEnabled = false, .sourceAppBundleID = "org.A"}});
    const QModelIndex row = model->index(0);
    QCOMPARE(row.data().toString(), QString("Work"));
    QCOMPARE(row.data(Qt::CheckStateRole).toInt(), int(Qt::Unchecked));
    QCOMPARE(row.data(RuleListModel::IDRole).toUuid(), store->rules()[0].id);
    QCOMPARE(row.data(RuleListModel::AppNameRole).toString(), QString("A"));
    QCOMPARE(row.data(RuleListModel::BrowserNameRole).toString(), QString("B"));
    QVERIFY(!model->data({}).isValid());
}

void TestRuleListModel::checkState_canBeSet() {
    setNames({"A", "B"});
    QVERIFY(model->setData(model->index(1), Qt::Unchecked, Qt::CheckStateRole));
    QVERIFY(store->rules()[0].isEnabled);
    QVERIFY(!store->rules()[1].isEnabled);
    QVERIFY(model->setData(model->index(1), Qt::Checked, Qt::CheckStateRole));
    QVERIFY(store->rules()[1].isEnabled);
    QVERIFY(!model->setData(model->index(1), "C", Qt::EditRole));
    QCOMPARE(names(), (QStringList{"A", "B"}));
    QVERIFY(model->flags(model->index(0)) & Qt::ItemIsUserCheckable);
}

void TestRuleListModel::rowOf_isTheFirst() {
    setNames({"A", "B"});
    store->add(store->rules()[1]);
    QCOMPARE(model->rowOf(store->rules()[1].id), 1);
    QCOMPARE(model->rowOf(QUuid::createUuid()), -1);
}

void TestRuleListModel::setEnabled_replacesTheRuleInTheStore_andSaves() {
    store->setRules({{.name = "A"}, {.name = "B", .pattern = "p", .browserBundleID = "b", .sourceAppBundleID = "s"}});
    Rule expected = store->rules()[1];
    expected.isEnabled = false;
    model->setEnabled(1, false);
    QCOMPARE(store->rules()[1], expected);
    QCOMPARE(mirror->changes, 1);
    QCOMPARE(mirror->rows[1].value<Rule>(), expected);
    QVERIFY(isSaved());
}

void TestRuleListModel::moveRule_data() {
    QTest::addColumn<int>("dragged");
    QTest::addColumn<int>("target");
    QTest::addColumn<QString>("expected"); // empty: nothing happens
    QTest::newRow("onto itself") << 1 << 1 << "";
    QTest::newRow("first onto third") << 0 << 2 << "BCAD";
    QTest::newRow("first onto second") << 0 << 1 << "BACD";
    QTest::newRow("last onto first") << 3 << 0 << "DABC";
    QTest::newRow("first onto last") << 0 << 3 << "BCDA";
    QTest::newRow("unknown onto first") << -1 << 0 << "";
    QTest::newRow("first onto unknown") << 0 << -1 << "";
}

void TestRuleListModel::moveRule() {
    QFETCH(int, dragged);
    QFETCH(int, target);
    QFETCH(QString, expected);
    setNames({"A", "B", "C", "D"});
    const int steps = mirror->steps;
    const auto idAt = [this](int row) { return row < 0 ? QUuid::createUuid() : model->rule(row).id; };
    QCOMPARE(model->moveRule(idAt(dragged), idAt(target)), !expected.isEmpty());
    QCOMPARE(names().join(""), expected.isEmpty() ? "ABCD" : expected);
    QCOMPARE(mirror->steps - steps, expected.isEmpty() ? 0 : 1);
    QVERIFY(expected.isEmpty() ? isNotSaved() : isSaved());
}

void TestRuleListModel::moveBy_data() {
    QTest::addColumn<int>("row");
    QTest::addColumn<int>("delta");
    QTest::addColumn<QString>("expected"); // empty: nothing happens
    QTest::newRow("up") << 2 << -1 << "ACBD";
    QTest::newRow("down") << 1 << 1 << "ACBD";
    QTest::newRow("up at the top") << 0 << -1 << "";
    QTest::newRow("down at the bottom") << 3 << 1 << "";
    QTest::newRow("nowhere") << 1 << 0 << "";
    QTest::newRow("to the top") << 2 << std::numeric_limits<int>::min() << "CABD";
    QTest::newRow("to the bottom") << 1 << std::numeric_limits<int>::max() << "ACDB";
}

void TestRuleListModel::moveBy() {
    QFETCH(int, row);
    QFETCH(int, delta);
    QFETCH(QString, expected);
    setNames({"A", "B", "C", "D"});
    QCOMPARE(model->moveBy(row, delta), !expected.isEmpty());
    QCOMPARE(names().join(""), expected.isEmpty() ? "ABCD" : expected);
    QVERIFY(expected.isEmpty() ? isNotSaved() : isSaved());
}

void TestRuleListModel::moveBy_ofASharedId_movesTheFirst() {
    setNames({"A", "B", "C"});
    Rule twin = store->rules()[0];
    twin.name = "twin";
    store->add(twin);
    QVERIFY(model->moveBy(3, 1));
    QCOMPARE(names(), (QStringList{"B", "A", "C", "twin"}));
}

void TestRuleListModel::removeRule_removesTheFirst_andSaves() {
    setNames({"A", "B"});
    Rule twin = store->rules()[0];
    twin.name = "twin";
    store->add(twin);
    QVERIFY(isSaved());
    QVERIFY(model->removeRule(twin.id));
    QCOMPARE(names(), (QStringList{"B", "twin"}));
    QVERIFY(isSaved());
    QVERIFY(!model->removeRule(QUuid::createUuid()));
    QCOMPARE(names(), (QStringList{"B", "twin"}));
    QVERIFY(isNotSaved());
}

void TestRuleListModel::newNames_changeOnlyTheirRows() {
    store->setRules({{.browserBundleID = "x.a"}, {.browserBundleID = "x.b", .sourceAppBundleID = "x.a"}, {}});
    QSignalSpy spy(model.get(), &QAbstractItemModel::dataChanged);
    detectors->setBrowsers({{"x.a", "Alpha"}, {"x.b", "b"}}); // b was called that before
    QCOMPARE(spy.size(), 1);
    QCOMPARE(spy[0][0].toModelIndex(), model->index(0));
    QCOMPARE(spy[0][1].toModelIndex(), model->index(0));
    QCOMPARE(model->browserName(0), QString("Alpha"));
    detectors->setBrowsers({{"x.a", "Alpha"}});
    QCOMPARE(spy.size(), 1);

    detectors->setApps({{"x.a", "Application"}});
    QCOMPARE(spy.size(), 2);
    QCOMPARE(spy[1][0].toModelIndex(), model->index(1));
    QCOMPARE(spy[1][1].toModelIndex(), model->index(1));
    QCOMPARE(*model->appName(1), QString("Application"));
    QCOMPARE(model->browserName(0), QString("Alpha"));
}

void TestRuleListModel::otherFields_changeNothing() {
    setNames({"A", "B"});
    const int steps = mirror->steps;
    store->setFallbackBrowserID("x");
    store->setDebugModeEnabled(true);
    store->setRules(QList<Rule>(store->rules()));
    QCOMPARE(mirror->steps, steps);
    QCOMPARE(mirror->changes, 0);
}

void TestRuleListModel::changeInALongList_isOneSignal() {
    QStringList many;
    for (int i = 0; i < 1000; ++i)
        many.append(QString::number(i));
    setNames(many);
    QCOMPARE(mirror->steps, 1);
    store->moveRule(store->rules()[10].id, 900);
    QCOMPARE(mirror->steps, 2);
    model->removeRule(store->rules()[500].id);
    QCOMPARE(mirror->steps, 3);
    store->add({});
    QCOMPARE(mirror->steps, 4);
    QCOMPARE(mirror->changes, 0);
    model->setEnabled(700, false);
    QCOMPARE(mirror->steps, 4);
    QCOMPARE(mirror->changes, 1);
}

// The first removal is announced while the second one is still to come; by then the store holds something else again.
void TestRuleListModel::storeChangedBySomebodyWhoHears_isFollowed() {
    setNames({"A", "B", "C", "D"});
    bool once = false;
    connect(model.get(), &QAbstractItemModel::rowsRemoved, this, [this, &once] {
        if (!std::exchange(once, true))
            store->add({.name = "E"});
    });
    store->setRules({store->rules()[1], store->rules()[3]});
    QCOMPARE(names(), (QStringList{"B", "D", "E"}));
    QCOMPARE(model->rowCount(), 3);
    for (int row = 0; row < 3; ++row)
        QCOMPARE(mirror->rows[row].value<Rule>(), store->rules()[row]);
    disconnect(model.get(), nullptr, this, nullptr);
}

void TestRuleListModel::anythingDoneToTheStore_isFollowedWithoutReset() {
    QRandomGenerator random(5);
    const auto newRule = [&random, this]() -> Rule {
        Rule rule{.name = QString::number(random.bounded(5)),
                  .pattern = QString::number(random.bounded(5)),
                  .isEnabled = random.bounded(2) == 0};
        if (!store->rules().isEmpty() && random.bounded(5) == 0) // an id that is there already
            rule.id = store->rules()[random.bounded(store->rules().size())].id;
        return rule;
    };
    for (int round = 0; round < 10'000; ++round) {
        QList<Rule> rules = store->rules();
        const auto anyID = [&] {
            return rules.isEmpty() || random.bounded(20) == 0 ? QUuid::createUuid()
                                                              : rules[random.bounded(rules.size())].id;
        };
        switch (random.bounded(rules.size() > 30 ? 9 : 7)) {
        case 0:
        case 1: store->add(newRule()); break;
        case 2: {
            Rule rule = newRule();
            rule.id = anyID();
            store->update(rule);
            break;
        }
        case 3: store->moveRule(anyID(), random.bounded(-2, 40)); break;
        case 4: model->moveRule(anyID(), anyID()); break;
        case 5: store->setRules(rules); break;
        case 6: // a new list out of old and new rules
            std::shuffle(rules.begin(), rules.end(), random);
            rules.remove(0, random.bounded(rules.size() + 1));
            for (int i = random.bounded(4); i > 0; --i)
                rules.insert(random.bounded(rules.size() + 1), newRule());
            store->setRules(rules);
            break;
        default: model->removeRule(anyID()); break;
        }
        QCOMPARE(model->rowCount(), store->rules().size());
        QCOMPARE(mirror->rows.size(), store->rules().size());
        for (int row = 0; row < model->rowCount(); ++row) {
            QCOMPARE(model->rule(row), store->rules()[row]);
            QCOMPARE(mirror->rows[row].value<Rule>(), store->rules()[row]);
        }
    }
    QVERIFY(mirror->steps > 5000);
    QVERIFY(mirror->changes > 500);
}

QTEST_GUILESS_MAIN(TestRuleListModel)
#include "TestRuleListModel.moc"
