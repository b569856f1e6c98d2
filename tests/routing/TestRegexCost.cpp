#include "routing/RegexCost.h"

#include <QTest>

using namespace vantorel;

class TestRegexCost : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void takesLong_data();
    void takesLong();
};

void TestRegexCost::takesLong_data() {
    QTest::addColumn<QString>("expression");
    QTest::addColumn<bool>("takesLong");
    const auto row = [](const char* prefix, const char* unit, int count, bool takesLong) {
        QTest::addRow("%s + %d x %s", prefix, count, unit) << prefix + QString(unit).repeated(count) << takesLong;
    };
    row("", "", 0, false);
    row("(?i)", "^https?://([\\w-]+\\.)*example\\.(com|org)/", 5, false);
    row("", "a", 1'000'000, false);
    row("", "host\\.example\\.com|", 10'000, false);
    row("", "(?:www\\.)?host[0-9]+\\.example|", 1'000, false);
    row("", "a*", 5'000, false);
    row("", "a*", 100'000, true);
    row("", "a{11}", 1'000, false);
    row("", "a{11}", 10'000, true);
    row("", "(?<=a)", 100'000, true);
    row("", "\\P{L}", 90, false);
    row("", "\\P{L}", 110, true); // for links letter case does not count
    row("", "\\P{L}", 10'000, true);
    row("", "a|", 500'000, true);
    row("(?i)[\\Q]\\E", "\\W", 1'000, true);
    row("(?i)[[a]", "\\W", 1'000, true);
    row("(?i)", "[a-z0-9.-]", 1'000, false);
    // Classes within a set, in whichever way the set can be written.
    for (const char* const set : {"[\\W]", "[^\\W]", "[]\\W]", "[^]\\W]", "[[a]\\W]", "[a\\]\\W]", "[[:L:]]", "[!-豈]",
                                  "[\\x{21}-\\x{10ffff}]", "[\\Q]\\E\\W]", "\\p{L}"}) {
        row("(?i)", set, 5, false);
        row("(?i)", set, 1'000, true);
        row("(?-m)", set, 1'000, true);
    }
}

void TestRegexCost::takesLong() {
    QFETCH(QString, expression);
    QTEST(takesLongToCompile(expression), "takesLong");
}

QTEST_APPLESS_MAIN(TestRegexCost)
#include "TestRegexCost.moc"
