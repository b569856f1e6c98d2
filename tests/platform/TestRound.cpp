#include "platform/freedesktop/Round.h"

#include <QTest>

using namespace vantorel;
using namespace std::chrono_literals;

namespace {

constexpr const char* kLink = "https://x.test/";
constexpr auto kNow = 1000s;

std::string afterRounds(int count, std::chrono::seconds apart) {
    std::string text;
    for (int i = 0; i < count; ++i)
        text = Round(text, kLink, kNow + i * apart).text();
    return text;
}

} // namespace

class TestRound : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void sameLinkAtOnce_isTooManyAfterEight();
    void slowRounds_areNone();
    void otherLink_beginsAnew();
    void browserThatKeepsItsVariable_maySendTheLinkAgainAndAgain();
    void linksThatChangeEachTime_areTooManyInTheEnd();
    void repeated_countsWhatHasNoVariable();
    void repeated_countsEachLink();
    void repeated_leavesAVariableThatCountsMore();
    void textThatIsNone_countsForNothing_data();
    void textThatIsNone_countsForNothing();
    void forgedCount_doesNotOverflow();
};

void TestRound::sameLinkAtOnce_isTooManyAfterEight() {
    for (const auto apart : {0s, 1s, Round::kMoment}) {
        QVERIFY(!Round(afterRounds(Round::kMost - 1, apart), kLink, kNow + (Round::kMost - 1) * apart).isTooMany());
        QVERIFY(Round(afterRounds(Round::kMost, apart), kLink, kNow + Round::kMost * apart).isTooMany());
    }
}

void TestRound::slowRounds_areNone() {
    QVERIFY(!Round(afterRounds(100, Round::kMoment + 1s), kLink, kNow + 100 * (Round::kMoment + 1s)).isTooMany());
    QVERIFY(!Round(afterRounds(Round::kMost, 0s), kLink, kNow + Round::kMoment + 1s).isTooMany());
}

void TestRound::otherLink_beginsAnew() {
    const auto many = afterRounds(Round::kMost, 0s);
    const Round other(many, "https://x.test/2", kNow);
    QVERIFY(!other.isTooMany());
    QCOMPARE(other.text().substr(0, 2), std::string("1 "));
}

void TestRound::linksThatChangeEachTime_areTooManyInTheEnd() {
    std::string text;
    for (int i = 0; i < Round::kDeepest; ++i) {
        const Round round(text, kLink + std::to_string(i), kNow + 2s * i);
        QVERIFY(!round.isTooMany());
        text = round.text();
    }
    const auto now = kNow + 2s * Round::kDeepest;
    QVERIFY(Round(text, kLink, now).isTooMany());
    QVERIFY(!Round(text, kLink, now + Round::kMoment).isTooMany());
}

void TestRound::repeated_countsWhatHasNoVariable() {
    RepeatedRounds rounds;
    for (int i = 1; i <= Round::kMost; ++i)
        QVERIFY(!Round(rounds.before("", kLink, kNow), kLink, kNow).isTooMany());
    // More attempts do not put off the end.
    for (const auto later : {0s, 5s, Round::kMoment})
        QVERIFY(Round(rounds.before("", kLink, kNow + later), kLink, kNow + later).isTooMany());
    const auto later = kNow + Round::kMoment + 1s;
    QVERIFY(!Round(rounds.before("", kLink, later), kLink, later).isTooMany());
}

void TestRound::repeated_countsEachLink() {
    RepeatedRounds rounds;
    for (int i = 0; i < Round::kMost; ++i) {
        for (const char* const link : {kLink, "https://x.test/2"})
            QVERIFY(!Round(rounds.before("", link, kNow), link, kNow).isTooMany());
    }
    for (const char* const link : {kLink, "https://x.test/2"})
        QVERIFY(Round(rounds.before("", link, kNow), link, kNow).isTooMany());
    QVERIFY(!Round(rounds.before("", "https://x.test/3", kNow), "https://x.test/3", kNow).isTooMany());
}

void TestRound::repeated_leavesAVariableThatCountsMore() {
    RepeatedRounds rounds;
    const auto many = afterRounds(Round::kMost, 0s);
    QCOMPARE(rounds.before("", kLink, kNow), std::string());
    QCOMPARE(rounds.before(many, kLink, kNow), many);
    const auto kept = Round("", kLink, kNow).text(); // of a browser that was started with the link
    for (int i = 0; i < Round::kMost - 1; ++i)
        rounds.before(kept, kLink, kNow);
    QVERIFY(Round(rounds.before(kept, kLink, kNow), kLink, kNow).isTooMany());
}

void TestRound::browserThatKeepsItsVariable_maySendTheLinkAgainAndAgain() {
    const auto kept = Round("", kLink, kNow).text();
    for (int i = 0; i < 100; ++i)
        QCOMPARE(Round(kept, kLink, kNow + 1s).text().substr(0, 2), std::string("2 "));
}

void TestRound::textThatIsNone_countsForNothing_data() {
    const auto hash = QByteArray::fromStdString(Round("", kLink, kNow).text()).split(' ')[2] + " 8";
    QTest::addColumn<QByteArray>("text");
    const QByteArrayList texts = {"",
                                  "8",
                                  "8 1000",
                                  "8 1000 ",
                                  "8  1000 " + hash,
                                  " 8 1000 " + hash,
                                  "8 1000 " + hash + ' ',
                                  "-8 1000 " + hash,
                                  "8 1001 " + hash,
                                  "8 x " + hash,
                                  "8,1000," + hash,
                                  "99999999999999999999 1000 " + hash,
                                  "8 1000 99999999999999999999999 8",
                                  "8 1000 " + hash + " 8",
                                  "8 1000 " + hash.split(' ')[0]};
    for (const QByteArray& text : texts)
        QTest::newRow(text.isEmpty() ? "empty" : text.constData()) << text;
}

void TestRound::textThatIsNone_countsForNothing() {
    QFETCH(QByteArray, text);
    const Round round(text.toStdString(), kLink, kNow);
    QVERIFY(!round.isTooMany());
    QCOMPARE(round.text(), Round("", kLink, kNow).text());
}

void TestRound::forgedCount_doesNotOverflow() {
    const auto hash = QByteArray::fromStdString(Round("", kLink, kNow).text()).split(' ')[2].toStdString();
    QVERIFY(!Round("7 1000 " + hash + " 7", kLink, kNow).isTooMany());
    QVERIFY(Round("18446744073709551615 1000 " + hash + " 7", kLink, kNow).isTooMany());
    QVERIFY(Round("7 1000 " + hash + " 18446744073709551615", kLink, kNow).isTooMany());
}

QTEST_GUILESS_MAIN(TestRound)
#include "TestRound.moc"
