#include "routing/PatternList.h"

#include <QTest>

using namespace vantorel;

class TestPatternList : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void splitPatterns_data();
    void splitPatterns();
    void anyPattern_stopsAtTheFirstAccepted();
};

void TestPatternList::splitPatterns_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<QStringList>("values");
    QTest::newRow("null") << QString() << QStringList();
    QTest::newRow("empty") << "" << QStringList();
    QTest::newRow("one") << "a" << QStringList{"a"};
    QTest::newRow("commas, spaces, empty pieces and lines") << " a, b,,c \n\n d " << QStringList{"a", "b", "c", "d"};
    QTest::newRow("only separators") << " , ,\n\t,\r\n" << QStringList();
    QTest::newRow("duplicates are kept") << "a,a" << QStringList{"a", "a"};
    QTest::newRow("inner spaces, tabs and semicolons do not separate") << "a b;c\td" << QStringList{"a b;c\td"};
    QTest::newRow("carriage return and line feed") << "a\r\nb\rc" << QStringList{"a", "b", "c"};
    QTest::newRow("vertical tab and form feed") << QStringLiteral("a\vb\fc") << QStringList{"a", "b", "c"};
    QTest::newRow("next line, line and paragraph separator")
        << QStringLiteral("a\u0085b\u2028c\u2029d") << QStringList{"a", "b", "c", "d"};
    QTest::newRow("other white space is trimmed") << QStringLiteral("\u00A0a\u3000,\tb\u2003") << QStringList{"a", "b"};
    QTest::newRow("zero width space is no white space")
        << QStringLiteral("\u200Ba") << QStringList{QStringLiteral("\u200Ba")};
    QTest::newRow("full-width comma does not separate")
        << QStringLiteral("a，b") << QStringList{QStringLiteral("a，b")};
    QTest::newRow("trailing separator") << "a," << QStringList{"a"};
}

void TestPatternList::splitPatterns() {
    QFETCH(QString, text);
    QStringList values;
    for (const QStringView value : vantorel::splitPatterns(text))
        values.append(value.toString());
    QTEST(values, "values");
}

void TestPatternList::anyPattern_stopsAtTheFirstAccepted() {
    QStringList seen;
    const bool accepted = anyPattern(u"a,b,c", [&seen](QStringView value) {
        seen.append(value.toString());
        return value == u"b";
    });
    QVERIFY(accepted);
    QCOMPARE(seen, (QStringList{QStringLiteral("a"), QStringLiteral("b")}));
}

QTEST_GUILESS_MAIN(TestPatternList)
#include "TestPatternList.moc"
