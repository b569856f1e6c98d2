#include "platform/freedesktop/SessionActivationSource.h"

#include <QCoreApplication>
#include <QStringList>
#include <QTest>
#include <QThread>

#include <functional>

using namespace vantorel;
using State = ActivationBackend::State;

namespace {

// Does what a test has it do.
class FakeBackend : public ActivationBackend {
public:
    void start(Activated activated) override {
        ++starts;
        m_activated = std::move(activated);
        setState(stateAtStart);
    }
    void stop() override {
        ++stops;
        setState(State::unknown);
    }
    std::optional<QString> frontmost() override {
        ++questions;
        if (whenAsked)
            whenAsked();
        return front;
    }

    bool isRunning() const { return starts == stops + 1; }
    // Also after it was stopped, as a way does whose report was on its way just then.
    void activate(const std::optional<QString>& id) { m_activated(id); }
    using ActivationBackend::setState;

    State stateAtStart = State::unknown;
    std::optional<QString> front;
    std::function<void()> whenAsked;
    int starts = 0;
    int stops = 0;
    int questions = 0;

private:
    Activated m_activated;
};

// Three ways, from the best to the last resort.
struct Session {
    Session() {
        std::vector<std::unique_ptr<ActivationBackend>> backends;
        for (FakeBackend** way : {&first, &second, &third}) {
            auto backend = std::make_unique<FakeBackend>();
            *way = backend.get();
            backends.push_back(std::move(backend));
        }
        source = std::make_unique<SessionActivationSource>(std::move(backends));
    }

    void start() {
        source->start([this](const std::optional<QString>& id) { heard.append(id.value_or("(absent)")); });
    }
    void become(FakeBackend* way, State state) {
        way->setState(state);
        QCoreApplication::processEvents();
    }
    // Which of the ways run, from first to third.
    QString running() const {
        return QString(first->isRunning() ? "1" : "-") + (second->isRunning() ? "2" : "-")
            + (third->isRunning() ? "3" : "-");
    }

    FakeBackend* first = nullptr;
    FakeBackend* second = nullptr;
    FakeBackend* third = nullptr;
    std::unique_ptr<SessionActivationSource> source;
    QStringList heard;
};

} // namespace

class TestSessionActivationSource : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void nothingRuns_beforeTheStart();
    void nextWay_isTried_onlyWhenTheBetterOnesAreAbsent();
    void waysThatAreAbsentAtOnce_arePassedOver();
    void betterWay_thatIsBack_replacesTheOthers();
    void wayThatWasGivenUp_isTriedAgain();
    void wayThatDoesNotKnowAnyMore_leavesTheOthersAlone();
    void activations_countFromTheBestWayOnly();
    void activations_doNotCount_fromOneThatIsNotPresent();
    void frontmost_asksTheBestWayOnly();
    void frontmost_asksOneThatHasNotAnsweredYet_whenNoneIsPresent();
    void frontmost_asksTheNext_whenOneTurnsOutToBeAbsent();
    void frontmost_asksNobodyElse_whenThatTookLong();
    void frontmost_isAbsent_whenNothingIsPresent();
    void noWaysAtAll_isNoError();
};

void TestSessionActivationSource::nothingRuns_beforeTheStart() {
    const Session session;
    QCOMPARE(session.running(), "---");
    QCOMPARE(session.source->frontmost(), std::nullopt);
    QCOMPARE(session.first->questions, 0);
}

void TestSessionActivationSource::nextWay_isTried_onlyWhenTheBetterOnesAreAbsent() {
    Session session;
    session.start();
    QCoreApplication::processEvents();
    QCOMPARE(session.running(), "1--");
    session.become(session.first, State::absent);
    QCOMPARE(session.running(), "12-");
    session.become(session.second, State::absent);
    QCOMPARE(session.running(), "123");
    session.become(session.third, State::absent);
    QCOMPARE(session.running(), "123");

    Session other;
    other.start();
    other.become(other.first, State::present);
    QCOMPARE(other.running(), "1--");
    other.become(other.first, State::absent);
    QCOMPARE(other.running(), "12-");
    other.become(other.second, State::present);
    QCOMPARE(other.running(), "12-");
}

void TestSessionActivationSource::waysThatAreAbsentAtOnce_arePassedOver() {
    Session session;
    session.first->stateAtStart = State::absent;
    session.second->stateAtStart = State::absent;
    session.third->stateAtStart = State::present;
    session.start();
    QCOMPARE(session.running(), "123");
    session.third->activate("editor");
    QCOMPARE(session.heard, QStringList("editor"));
    QCoreApplication::processEvents();
    QCOMPARE(session.first->starts + session.second->starts + session.third->starts, 3);
}

void TestSessionActivationSource::betterWay_thatIsBack_replacesTheOthers() {
    Session session;
    session.first->stateAtStart = State::absent;
    session.second->stateAtStart = State::absent;
    session.third->stateAtStart = State::present;
    session.start();
    session.become(session.second, State::present);
    QCOMPARE(session.running(), "12-");
    QCOMPARE(session.third->stops, 1);
    session.become(session.first, State::present);
    QCOMPARE(session.running(), "1--");
    QCOMPARE(session.second->stops, 1);
    QCOMPARE(session.third->stops, 1);
}

void TestSessionActivationSource::wayThatWasGivenUp_isTriedAgain() {
    Session session;
    session.first->stateAtStart = State::absent;
    session.second->stateAtStart = State::present;
    session.start();
    session.become(session.first, State::present);
    QCOMPARE(session.running(), "1--");
    session.become(session.first, State::absent);
    QCOMPARE(session.running(), "12-");
    QCOMPARE(session.second->starts, 2);
    session.second->activate("editor");
    QCOMPARE(session.heard, QStringList("editor"));
}

void TestSessionActivationSource::wayThatDoesNotKnowAnyMore_leavesTheOthersAlone() {
    Session session;
    session.first->stateAtStart = State::absent;
    session.second->stateAtStart = State::present;
    session.second->front = "editor";
    session.start();
    session.become(session.first, State::unknown);
    QCOMPARE(session.running(), "12-");
    QCOMPARE(session.source->frontmost(), QString("editor"));
    QCOMPARE(session.first->questions, 0);

    Session other;
    other.start();
    other.become(other.first, State::present);
    other.become(other.first, State::unknown);
    QCOMPARE(other.running(), "1--");
}

void TestSessionActivationSource::activations_countFromTheBestWayOnly() {
    Session session;
    session.first->stateAtStart = State::absent;
    session.second->stateAtStart = State::present;
    session.start();
    session.second->activate("editor");
    session.second->activate(std::nullopt);
    QCOMPARE(session.heard, QStringList({"editor", "(absent)"}));

    // From the moment on at which the better one is present, and not only when the other has been stopped.
    session.first->setState(State::present);
    session.second->activate("left behind");
    session.first->activate("terminal");
    QCOMPARE(session.heard, QStringList({"editor", "(absent)", "terminal"}));
    QCoreApplication::processEvents();
    session.second->activate("left behind");
    QCOMPARE(session.heard, QStringList({"editor", "(absent)", "terminal"}));
}

void TestSessionActivationSource::activations_doNotCount_fromOneThatIsNotPresent() {
    Session session;
    session.start();
    session.first->activate("early");
    session.become(session.first, State::absent);
    session.first->activate("late");
    session.second->activate("early");
    QCOMPARE(session.heard, QStringList());
}

void TestSessionActivationSource::frontmost_asksTheBestWayOnly() {
    Session session;
    session.first->stateAtStart = State::absent;
    session.second->stateAtStart = State::present;
    session.start();
    session.second->front = "editor";
    QCOMPARE(session.source->frontmost(), QString("editor"));
    session.second->front.reset();
    QCOMPARE(session.source->frontmost(), std::nullopt);
    QCOMPARE(session.first->questions, 0);
    QCOMPARE(session.second->questions, 2);
    QCOMPARE(session.third->questions, 0);
}

void TestSessionActivationSource::frontmost_asksOneThatHasNotAnsweredYet_whenNoneIsPresent() {
    Session session;
    session.start();
    session.first->front = "editor";
    session.first->whenAsked = [&] { session.first->setState(State::present); };
    QCOMPARE(session.source->frontmost(), QString("editor"));

    Session silent;
    silent.start();
    QCOMPARE(silent.source->frontmost(), std::nullopt);
    QCOMPARE(silent.first->questions, 1);
    QCOMPARE(silent.running(), "1--");
}

void TestSessionActivationSource::frontmost_asksTheNext_whenOneTurnsOutToBeAbsent() {
    Session session;
    session.start();
    session.first->front = "what an absent one says";
    session.first->whenAsked = [&] { session.first->setState(State::absent); };
    session.second->stateAtStart = State::present;
    session.second->front = "editor";
    QCOMPARE(session.source->frontmost(), QString("editor"));
    QCOMPARE(session.running(), "12-");
    QCoreApplication::processEvents();
    QCOMPARE(session.running(), "12-");
}

void TestSessionActivationSource::frontmost_asksNobodyElse_whenThatTookLong() {
    Session session;
    session.start();
    session.first->front = "what an absent one says";
    session.first->whenAsked = [&] {
        QThread::msleep(30);
        session.first->setState(State::absent);
    };
    session.second->stateAtStart = State::present;
    session.second->front = "editor";
    QCOMPARE(session.source->frontmost(), std::nullopt);
    QCOMPARE(session.second->questions, 0);
    QCOMPARE(session.source->frontmost(), QString("editor"));
}

void TestSessionActivationSource::frontmost_isAbsent_whenNothingIsPresent() {
    Session session;
    for (FakeBackend* way : {session.first, session.second, session.third}) {
        way->stateAtStart = State::absent;
        way->front = "what an absent one says";
    }
    session.start();
    QCOMPARE(session.source->frontmost(), std::nullopt);
    QCOMPARE(session.first->questions + session.second->questions + session.third->questions, 0);
}

void TestSessionActivationSource::noWaysAtAll_isNoError() {
    SessionActivationSource source({});
    source.start([](const std::optional<QString>&) { QFAIL("nobody can have reported this"); });
    QCoreApplication::processEvents();
    QCOMPARE(source.frontmost(), std::nullopt);
}

QTEST_GUILESS_MAIN(TestSessionActivationSource)
#include "TestSessionActivationSource.moc"
