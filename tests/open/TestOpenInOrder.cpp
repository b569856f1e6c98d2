#include "Sandbox.h"

#include <QTest>

#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr int kPatienceMilliseconds = 60000;
constexpr int kMomentMilliseconds = 100;

/// Appends its link to one file, which shows the order, and stays.
constexpr const char* kLogs = "#!/bin/sh\necho \"$1\" >>\"$LOG\"\n";

QByteArray turn(int wait, int done) {
    return QByteArray::number(wait) + ',' + QByteArray::number(done);
}

} // namespace

/// Several starts at once whose browsers are to start one after the other.
class TestOpenInOrder : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void manyAtOnce_startInOrder();
    void waitsForTheOneBefore();
    void waitsNotForEver_onceTheOneBeforeHasItsTurn();
    void tellsTheNextWhenDone_thoughTheBrowserStays();
    void failure_doesNotOvertake();
    void malformedTurn_isIgnored_data();
    void malformedTurn_isIgnored();
    void turnThatIsNoPipe_isIgnored();
};

void TestOpenInOrder::manyAtOnce_startInOrder() {
    Sandbox box;
    box.write("bin/web", kLogs, true);
    box.addEntry("web", "Exec=web %u");
    box.environment["LOG"] = box.path("log");
    std::vector<Command> commands;
    std::vector<Pipe> pipes;
    QByteArray expected;
    for (int i = 0; i < kManyAtOnce; ++i) {
        pipes.emplace_back();
        const int wait = i > 0 ? pipes[i - 1].readEnd() : -1;
        const int done = pipes[i].writeEnd();
        box.environment["VANTOREL_TURN"] = turn(wait, done);
        // Every fifth one fails and another is told nothing, which must not disturb the others.
        const bool fails = i % 5 == 3;
        const bool isToldNothing = i % 5 == 1;
        const auto number = QByteArray::number(i);
        const auto inherited = wait >= 0 ? std::vector<int>{wait, done} : std::vector<int>{done};
        commands.push_back(isToldNothing ? Command({VANTOREL_OPEN, "-"}, box.environment, inherited)
                                         : box.start(fails ? "absent" : "web", "x:" + number, inherited));
        pipes[i].closeWriteEnd();
        expected += fails || isToldNothing ? QByteArray() : "x:" + number + '\n';
    }
    for (std::size_t i = 0; i < commands.size(); ++i) {
        QCOMPARE(commands[i].finish().status, i % 5 == 3 ? 1 : 0);
    }
    QCOMPARE(box.read("log"), expected);
}

void TestOpenInOrder::waitsForTheOneBefore() {
    Sandbox box;
    box.addApplication("web");
    Pipe before;
    Pipe done;
    box.environment["VANTOREL_TURN"] = turn(before.readEnd(), done.writeEnd());
    auto command = box.start("web", "x:y", {before.readEnd(), done.writeEnd()});
    done.closeWriteEnd();
    QVERIFY(!done.hungUp(kMomentMilliseconds));
    QVERIFY(!box.exists("seen/web.arguments"));
    before.closeWriteEnd();
    QCOMPARE(command.finish().status, 0);
    QVERIFY(done.hungUp(kPatienceMilliseconds));
    QCOMPARE(box.argumentsOf("web"), QByteArrayList{"x:y"});
}

void TestOpenInOrder::waitsNotForEver_onceTheOneBeforeHasItsTurn() {
    Sandbox box;
    box.addApplication("web");
    const Pipe before;
    const Pipe done;
    QCOMPARE(write(before.writeEnd(), "", 1), 1);
    box.environment["VANTOREL_TURN"] = turn(before.readEnd(), done.writeEnd());
    QCOMPARE(box.start("web", "x:y", {before.readEnd(), done.writeEnd()}).finish().status, 0);
    QCOMPARE(box.argumentsOf("web"), QByteArrayList{"x:y"});
    char byte = 1;
    QCOMPARE(read(done.readEnd(), &byte, 1), 1); // its own turn has come
    QCOMPARE(byte, 0);
}

void TestOpenInOrder::tellsTheNextWhenDone_thoughTheBrowserStays() {
    Sandbox box;
    box.addApplication("web", "exec /bin/sleep 600");
    Pipe done;
    box.environment["VANTOREL_TURN"] = turn(-1, done.writeEnd());
    auto command = box.start("web", "x:y", {done.writeEnd()});
    done.closeWriteEnd();
    QCOMPARE(command.finish().status, 0);
    QVERIFY(done.hungUp(kPatienceMilliseconds));
    QVERIFY(box.pidOf("web") > 0);
}

void TestOpenInOrder::failure_doesNotOvertake() {
    Sandbox box;
    Pipe before;
    Pipe done;
    box.environment["VANTOREL_TURN"] = turn(before.readEnd(), done.writeEnd());
    auto command = box.start("absent", "x:y", {before.readEnd(), done.writeEnd()});
    done.closeWriteEnd();
    QVERIFY(!done.hungUp(kMomentMilliseconds));
    before.closeWriteEnd();
    QCOMPARE(command.finish().status, 1);
    QVERIFY(done.hungUp(kPatienceMilliseconds));
}

void TestOpenInOrder::malformedTurn_isIgnored_data() {
    QTest::addColumn<QByteArray>("value");
    for (const char* value :
         {"", ",", "x", "3", "-1,", ",5", "-1,999", "998,999", "-1,-1", "-2,5", "1e1,2", "-1,5 ", "-1,99999999999"}) {
        QTest::addRow("\"%s\"", value) << QByteArray(value);
    }
}

void TestOpenInOrder::malformedTurn_isIgnored() {
    QFETCH(QByteArray, value);
    Sandbox box;
    box.addApplication("web");
    box.environment["VANTOREL_TURN"] = value;
    const auto outcome = box.open("web", "x:y");
    QCOMPARE(outcome.errors, "");
    QCOMPARE(outcome.status, 0);
    QCOMPARE(box.argumentsOf("web"), QByteArrayList{"x:y"});
}

void TestOpenInOrder::turnThatIsNoPipe_isIgnored() {
    Sandbox box;
    box.addApplication("web");
    const Pipe done;
    const int file = open(box.path("bin/web").constData(), O_RDONLY | O_CLOEXEC);
    QVERIFY(file >= 0);
    box.environment["VANTOREL_TURN"] = turn(file, done.writeEnd());
    const auto outcome = box.start("web", "x:y", {file, done.writeEnd()}).finish();
    // The position is shared: it would have moved had anybody read there.
    const auto position = lseek(file, 0, SEEK_CUR);
    close(file);
    QCOMPARE(outcome.status, 0);
    QCOMPARE(position, 0);
    QCOMPARE(box.argumentsOf("web"), QByteArrayList{"x:y"});
}

QTEST_GUILESS_MAIN(TestOpenInOrder)
#include "TestOpenInOrder.moc"
