#include "settings/RuleDropDelegate.h"

#include "fakes/FakeUserDefaults.h"
#include "routing/RulesStore.h"
#include "settings/Detectors.h"
#include "settings/RuleListModel.h"

#include <QTest>

using namespace vantorel;

class TestRuleDropDelegate : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void validateDrop_onlyWhileARuleIsDragged();
    void dropEntered_movesTheDraggedRule_andKeepsItDragged();
    void dropEntered_onItselfOrWithoutADrag_doesNothing();
    void dropUpdated_proposesAMove();
    void performDrop_endsTheDrag();
    void dragOverOneRowAfterAnother_movesTwice();

private:
    RuleDropDelegate delegateFor(const QUuid& target) {
        return {.targetRuleID = target,
                .draggedRuleID = dragged,
                .rules = {},
                .moveRule = [this](const QUuid& rule, const QUuid& onto) {
                    moves.append({rule, onto});
                }};
    }

    std::optional<QUuid> dragged;
    QList<std::pair<QUuid, QUuid>> moves;
};

void TestRuleDropDelegate::validateDrop_onlyWhileARuleIsDragged() {
    const QUuid target = QUuid::createUuid();
    const auto delegate = delegateFor(target);
    dragged.reset();
    QVERIFY(!delegate.validateDrop());
    dragged = QUuid::createUuid();
    QVERIFY(delegate.validateDrop());
    dragged = target;
    QVERIFY(delegate.validateDrop());
}

void TestRuleDropDelegate::dropEntered_movesTheDraggedRule_andKeepsItDragged() {
    moves.clear();
    const QUuid rule = QUuid::createUuid();
    const QUuid target = QUuid::createUuid();
    dragged = rule;
    const auto delegate = delegateFor(target);
    delegate.dropEntered();
    delegate.dropExited();
    QCOMPARE(moves, (QList<std::pair<QUuid, QUuid>>{{rule, target}}));
    QVERIFY(dragged == rule);
}

void TestRuleDropDelegate::dropEntered_onItselfOrWithoutADrag_doesNothing() {
    moves.clear();
    const QUuid target = QUuid::createUuid();
    const auto delegate = delegateFor(target);
    dragged = target;
    delegate.dropEntered();
    QVERIFY(dragged == target);
    dragged.reset();
    delegate.dropEntered();
    QVERIFY(moves.isEmpty());
}

void TestRuleDropDelegate::dropUpdated_proposesAMove() {
    QCOMPARE(delegateFor(QUuid()).dropUpdated(), Qt::MoveAction);
}

void TestRuleDropDelegate::performDrop_endsTheDrag() {
    moves.clear();
    dragged = QUuid::createUuid();
    QVERIFY(delegateFor(QUuid::createUuid()).performDrop());
    QVERIFY(!dragged);
    QVERIFY(delegateFor(QUuid::createUuid()).performDrop());
    QVERIFY(moves.isEmpty());
}

void TestRuleDropDelegate::dragOverOneRowAfterAnother_movesTwice() {
    FakeUserDefaults defaults;
    RulesStore store(defaults);
    Detectors detectors;
    RuleListModel model(store, detectors.browsers, detectors.apps);
    store.setRules({{.name = "A"}, {.name = "B"}, {.name = "C"}, {.name = "D"}});
    const auto before = store.rules();
    const auto enter = [&](int rule) {
        RuleDropDelegate{.targetRuleID = before[rule].id,
                         .draggedRuleID = dragged,
                         .rules = before,
                         .moveRule = [&model](const QUuid& a, const QUuid& b) { model.moveRule(a, b); }}
            .dropEntered();
        QString names;
        for (const Rule& each : store.rules())
            names += each.name;
        return names;
    };
    dragged = before[0].id;
    QCOMPARE(enter(2), QString("BCAD"));
    QCOMPARE(enter(0), QString("BCAD"));
    QCOMPARE(enter(1), QString("ABCD"));
    QCOMPARE(enter(3), QString("BCDA"));
}

QTEST_GUILESS_MAIN(TestRuleDropDelegate)
#include "TestRuleDropDelegate.moc"
