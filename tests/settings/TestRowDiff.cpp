#include "settings/RowDiff.h"

#include <QRandomGenerator>
#include <QTest>

#include <numeric>

using namespace vantorel;

namespace {

/// Takes the steps on a list of its own, and writes them down.
struct Rows {
    QList<char> list;
    const QList<char>& target;
    QStringList steps = {};

    void remove(qsizetype first, qsizetype count) {
        QVERIFY(count > 0 && first >= 0 && first + count <= list.size());
        list.remove(first, count);
        steps.append(QString("remove %1+%2").arg(first).arg(count));
    }
    void move(qsizetype row, qsizetype destination) {
        QVERIFY(row != destination && row < list.size() && destination < list.size());
        list.move(row, destination);
        steps.append(QString("move %1>%2").arg(row).arg(destination));
    }
    void insert(qsizetype first, qsizetype count) {
        QVERIFY(count > 0 && first <= list.size() && first + count <= target.size());
        for (qsizetype i = first; i < first + count; ++i)
            list.insert(i, target[i]);
        steps.append(QString("insert %1+%2").arg(first).arg(count));
    }
};

QList<char> keys(const QByteArray& text) {
    return {text.begin(), text.end()};
}

Rows changed(const QList<char>& from, const QList<char>& to) {
    Rows rows{from, to};
    changeRows(from, to, rows);
    return rows;
}

} // namespace

class TestRowDiff : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void steps_data();
    void steps();
    void anyTwoLists_areTurnedIntoEachOther();
    void oneMoveInALongList_isOneStep();
    void eachRun_reportsWholeRuns();
};

void TestRowDiff::steps_data() {
    QTest::addColumn<QByteArray>("from");
    QTest::addColumn<QByteArray>("to");
    QTest::addColumn<QString>("expected");
    const auto row = [](const char* from, const char* to, const char* expected) {
        QTest::addRow("%s > %s", from, to) << QByteArray(from) << QByteArray(to) << QString(expected);
    };
    row("", "", "");
    row("abc", "abc", "");
    row("", "abc", "insert 0+3");
    row("abc", "", "remove 0+3");
    row("abc", "ac", "remove 1+1");
    row("ac", "abc", "insert 1+1");
    row("abc", "abcd", "insert 3+1");
    row("abcd", "bcd", "remove 0+1");
    row("abcde", "bcdea", "move 0>4");
    row("abcde", "eabcd", "move 4>0");
    row("abcde", "acdbe", "move 1>3");
    row("abcdef", "af", "remove 1+4");
    row("abcdef", "bdf", "remove 4+1,remove 2+1,remove 0+1");
    row("bdf", "abcdef", "insert 0+1,insert 2+1,insert 4+1");
    row("aa", "aaa", "insert 2+1");
    row("aaa", "aa", "remove 2+1");
    row("aba", "aab", "move 1>2");
    row("xaay", "yaax", "move 0>3,move 2>0");
    row("abab", "xyz", "remove 0+4,insert 0+3");
    row("abcx", "xbya", "remove 2+1,move 0>2,move 0>1,insert 2+1");
}

void TestRowDiff::steps() {
    QFETCH(QByteArray, from);
    QFETCH(QByteArray, to);
    const Rows rows = changed(keys(from), keys(to));
    QTEST(rows.steps.join(','), "expected");
    QCOMPARE(rows.list, keys(to));
}

void TestRowDiff::anyTwoLists_areTurnedIntoEachOther() {
    QRandomGenerator random(20);
    for (int round = 0; round < 20'000; ++round) {
        QList<char> lists[2];
        const int alphabet = 1 + random.bounded(12); // few letters: many duplicates
        for (auto& list : lists) {
            for (int i = random.bounded(14); i > 0; --i)
                list.append(static_cast<char>('a' + random.bounded(alphabet)));
        }
        QCOMPARE(changed(lists[0], lists[1]).list, lists[1]);
    }
}

void TestRowDiff::oneMoveInALongList_isOneStep() {
    QRandomGenerator random(21);
    QList<int> from(1000);
    std::iota(from.begin(), from.end(), 0);
    struct Count {
        int steps = 0;
        void remove(qsizetype, qsizetype) { ++steps; }
        void move(qsizetype, qsizetype) { ++steps; }
        void insert(qsizetype, qsizetype) { ++steps; }
    };
    for (int round = 0; round < 1000; ++round) {
        QList<int> to = from;
        const int row = random.bounded(1000);
        const int destination = random.bounded(1000);
        to.move(row, destination);
        Count count;
        changeRows(from, to, count);
        QCOMPARE(count.steps, row == destination ? 0 : 1);
    }
}

void TestRowDiff::eachRun_reportsWholeRuns() {
    QStringList runs;
    const QByteArray rows = "x..xx.x";
    eachRun(
        rows.size(), [&rows](qsizetype row) { return rows[row] == 'x'; },
        [&runs](qsizetype first, qsizetype last) { runs.append(QString("%1-%2").arg(first).arg(last)); });
    QCOMPARE(runs, (QStringList{"0-0", "3-4", "6-6"}));
}

QTEST_APPLESS_MAIN(TestRowDiff)
#include "TestRowDiff.moc"
