#include "routing/IcuRegex.h"

#include <QTest>

using namespace vantorel;

class TestIcuRegex : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void isFoundIn_data();
    void isFoundIn();
    void isFoundIn_searchesEachTextAnew();
    void isFoundIn_hostileExpression_isGivenUp_data();
    void isFoundIn_hostileExpression_isGivenUp();
    void isFoundIn_backReference_isNotSearchedForInVeryLongTexts();
    void compile_caseSensitive_keepsLetterCase();
    void compile_tellsWhatIsWrongAndWhere_data();
    void compile_tellsWhatIsWrongAndWhere();
};

namespace {

std::optional<IcuRegex> compiled(const QString& expression,
                                 IcuRegex::CaseSensitivity caseSensitivity = IcuRegex::CaseSensitivity::insensitive) {
    auto result = IcuRegex::compile(expression, caseSensitivity);
    auto* const regex = std::get_if<IcuRegex>(&result);
    return regex ? std::optional(std::move(*regex)) : std::nullopt;
}

} // namespace

void TestIcuRegex::isFoundIn_data() {
    QTest::addColumn<QString>("expression");
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("found");
    QTest::newRow("anywhere") << "ample"
                              << "https://example.com" << true;
    QTest::newRow("any letter case") << "EXAMPLE"
                                     << "https://example.com" << true;
    QTest::newRow("anchored") << "^example"
                              << "https://example.com" << false;
    QTest::newRow("whole") << "^https://example\\.com$"
                           << "https://example.com" << true;
    QTest::newRow("class") << "/[0-9]{4}/"
                           << "https://x.test/2026/a" << true;
    QTest::newRow("union of classes") << "^[[a-c][x-z]]+$"
                                      << "abcxyz" << true;
    QTest::newRow("named character") << "\\N{LATIN SMALL LETTER Q}"
                                     << "q" << true;
    QTest::newRow("look-ahead") << "https://(?!internal\\.)"
                                << "https://internal.test" << false;
    QTest::newRow("empty group") << "(?:)"
                                 << "x" << true;
    QTest::newRow("none") << "q"
                          << "https://x.test" << false;
}

void TestIcuRegex::isFoundIn() {
    QFETCH(QString, expression);
    QFETCH(QString, text);
    auto regex = compiled(expression);
    QVERIFY(regex);
    QTEST(regex->isFoundIn(text), "found");
}

void TestIcuRegex::isFoundIn_searchesEachTextAnew() {
    auto regex = compiled("b$");
    QVERIFY(regex);
    QVERIFY(regex->isFoundIn(u"ab"));
    QVERIFY(!regex->isFoundIn(u"abc"));
    QVERIFY(regex->isFoundIn(u"ab"));
}

void TestIcuRegex::isFoundIn_hostileExpression_isGivenUp_data() {
    QTest::addColumn<QString>("expression");
    QTest::newRow("nested plus") << "(a+)+$";
    QTest::newRow("nested star") << "(a*)*b";
    QTest::newRow("alternatives") << "(a|aa)+$";
    QTest::newRow("many stars") << "a*a*a*a*a*a*a*a*a*b";
    QTest::newRow("short back-reference") << "(a+)\\1+$";
    QTest::newRow("back-reference") << "(a+)\\1+\\1+\\1+\\1+$";
    QTest::newRow("look-ahead in a loop") << "((?=(a+))a)+$";
}

// That it ends at all is the test: each of these would run for longer than anybody waits.
void TestIcuRegex::isFoundIn_hostileExpression_isGivenUp() {
    QFETCH(QString, expression);
    auto regex = compiled(expression);
    QVERIFY(regex);
    for (const qsizetype length : {3'000, 4'000, 1'000'000})
        QVERIFY(!regex->isFoundIn(QString(QString(length, u'a') + u'!')));
    QVERIFY(!regex->isFoundIn(u"!")); // the next search is not affected
}

void TestIcuRegex::isFoundIn_backReference_isNotSearchedForInVeryLongTexts() {
    const QString longest = QString(4094, u'x') + QStringLiteral("aa");
    for (const char* const expression : {"(a)\\1", "(?<n>a)\\k<n>"}) {
        auto regex = compiled(expression);
        QVERIFY(regex);
        QVERIFY(regex->isFoundIn(longest));
        QVERIFY(!regex->isFoundIn(QString(longest + u'x')));
    }
    auto escaped = compiled("(a)\\\\1|aa");
    QVERIFY(escaped);
    QVERIFY(escaped->isFoundIn(QString(longest + u'x')));
}

void TestIcuRegex::compile_caseSensitive_keepsLetterCase() {
    auto regex = compiled("abc", IcuRegex::CaseSensitivity::sensitive);
    QVERIFY(regex);
    QVERIFY(!regex->isFoundIn(u"ABC"));
    QVERIFY(regex->isFoundIn(u"abc"));
}

void TestIcuRegex::compile_tellsWhatIsWrongAndWhere_data() {
    QTest::addColumn<QString>("expression");
    QTest::addColumn<QString>("message");
    QTest::addColumn<int>("position");
    QTest::newRow("open parenthesis") << "ab("
                                      << "Incorrectly nested parentheses" << 3;
    QTest::newRow("closing parenthesis") << "a)b"
                                         << "Incorrectly nested parentheses" << 2;
    QTest::newRow("open bracket") << "ab[c"
                                  << "Missing closing bracket" << 4;
    QTest::newRow("range") << "[z-a]"
                           << "In a character range [x-y], x is greater than y" << 4;
    QTest::newRow("nothing to repeat") << "*a"
                                       << "Syntax error" << 1;
    QTest::newRow("interval") << "a{2,1}"
                              << "In {min,max}, max is less than min" << 6;
    QTest::newRow("open interval") << "a{1"
                                   << "Error in {min,max} interval" << 3;
    QTest::newRow("number") << "a{99999999999}"
                            << "Decimal number is too large" << 12;
    QTest::newRow("property") << "\\p{Nonsense}"
                              << "Incorrect Unicode property" << 12;
    QTest::newRow("back-reference") << "\\2(a)"
                                    << "Back-reference to a non-existent capture group" << 5;
    QTest::newRow("look-behind") << "(?<=a*)b"
                                 << "Look-behind expression must have a bounded maximum length" << 7;
}

void TestIcuRegex::compile_tellsWhatIsWrongAndWhere() {
    QFETCH(QString, expression);
    const auto result = IcuRegex::compile(expression, IcuRegex::CaseSensitivity::insensitive);
    const auto* const error = std::get_if<RegexError>(&result);
    QVERIFY(error);
    QTEST(error->message, "message");
    QTEST(error->position, "position");
}

QTEST_GUILESS_MAIN(TestIcuRegex)
#include "TestIcuRegex.moc"
