#include "interception/SourceAppTracker.h"

#include "platform/ActivationSource.h"

#include <QCoreApplication>
#include <QTest>

#include <memory>
#include <vector>

using namespace vantorel;

class TestSourceAppTracker : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void beforeAnyActivation_nothingIsKnown();
    void activation_isRememberedInALaterTurn();
    void lastOfSeveralActivations_isRemembered();
    void ownActivation_leavesThePreviousApplication();
    void ownIdentifier_isComparedExactly();
    void activationWithoutIdentifier_leavesThePreviousApplication();
    void secondStart_registersNothing();
    void activationBeforeTheStart_isNotHeardOf();
    void trackerThatIsGone_isNotCalled();
};

namespace {

struct FakeActivationSource : ActivationSource {
    std::vector<Activated> observers;

    void start(Activated activated) override { observers.push_back(std::move(activated)); }
    std::optional<QString> frontmost() override { return "in.front"; }

    void activate(const std::optional<QString>& id) const {
        for (const auto& observer : observers)
            observer(id);
    }
};

struct Rig {
    FakeActivationSource source;
    SourceAppTracker tracker{source, "own.App"};

    Rig() { tracker.start(); }

    // What is known once everything that is queued has happened.
    QString known() const {
        QCoreApplication::sendPostedEvents();
        return tracker.lastActiveBundleID().value_or("(none)");
    }
};

} // namespace

void TestSourceAppTracker::beforeAnyActivation_nothingIsKnown() {
    const Rig rig;
    QCOMPARE(rig.known(), QString("(none)"));
}

void TestSourceAppTracker::activation_isRememberedInALaterTurn() {
    const Rig rig;
    rig.source.activate("A");
    QVERIFY(!rig.tracker.lastActiveBundleID());
    QCOMPARE(rig.known(), QString("A"));
    rig.source.activate("B");
    QCOMPARE(*rig.tracker.lastActiveBundleID(), QString("A"));
    QCOMPARE(rig.known(), QString("B"));
}

void TestSourceAppTracker::lastOfSeveralActivations_isRemembered() {
    const Rig rig;
    for (const char* const id : {"A", "B", "A", "C"})
        rig.source.activate(id);
    QCOMPARE(rig.known(), QString("C"));
}

void TestSourceAppTracker::ownActivation_leavesThePreviousApplication() {
    const Rig rig;
    rig.source.activate("own.App");
    QCOMPARE(rig.known(), QString("(none)"));
    rig.source.activate("A");
    rig.source.activate("own.App");
    QCOMPARE(rig.known(), QString("A"));
}

void TestSourceAppTracker::ownIdentifier_isComparedExactly() {
    const Rig rig;
    rig.source.activate("own.app");
    QCOMPARE(rig.known(), QString("own.app"));
}

void TestSourceAppTracker::activationWithoutIdentifier_leavesThePreviousApplication() {
    const Rig rig;
    rig.source.activate({});
    QCOMPARE(rig.known(), QString("(none)"));
    rig.source.activate("A");
    rig.source.activate({});
    QCOMPARE(rig.known(), QString("A"));
}

void TestSourceAppTracker::secondStart_registersNothing() {
    Rig rig;
    rig.tracker.start();
    QCOMPARE(rig.source.observers.size(), 1U);
}

void TestSourceAppTracker::activationBeforeTheStart_isNotHeardOf() {
    FakeActivationSource listening;
    SourceAppTracker tracker(listening, "own.App");
    QVERIFY(listening.observers.empty());
    listening.activate("A");
    tracker.start();
    QCoreApplication::sendPostedEvents();
    QVERIFY(!tracker.lastActiveBundleID());
}

void TestSourceAppTracker::trackerThatIsGone_isNotCalled() {
    FakeActivationSource source;
    auto tracker = std::make_unique<SourceAppTracker>(source, "own.App");
    tracker->start();
    source.activate("A"); // on its way when the tracker goes
    tracker.reset();
    source.activate("B");
    QCoreApplication::sendPostedEvents();
    QCOMPARE(source.observers.size(), 1U);
}

QTEST_GUILESS_MAIN(TestSourceAppTracker)
#include "TestSourceAppTracker.moc"
