#include "discovery/NameOrder.h"

#include <QStringList>
#include <QTest>

using namespace vantorel;

namespace {

struct Named {
    QString name;
    int number;
};

QStringList sorted(const QByteArray& locale, const QStringList& names) {
    QList<Named> list;
    for (const QString& name : names)
        list.append({name, 0});
    NameOrder(locale).sort(list);
    QStringList result;
    for (const Named& each : list)
        result.append(each.name);
    return result;
}

} // namespace

class TestNameOrder : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void orders_data();
    void orders();
    void equalNames_keepTheirOrder();
    void longAndEmptyNames_haveKeys();
    void locale_isTheFirstVariableThatIsSet();
};

void TestNameOrder::orders_data() {
    QTest::addColumn<QByteArray>("locale");
    QTest::addColumn<QStringList>("names");
    const QStringList plain = {"apple", "Banana", "cherry", "Zebra"};
    QTest::newRow("C") << QByteArray("C") << plain;
    QTest::newRow("C with encoding") << QByteArray("C.UTF-8") << plain;
    QTest::newRow("POSIX") << QByteArray("POSIX") << plain;
    QTest::newRow("none") << QByteArray() << plain;
    QTest::newRow("unknown") << QByteArray("xx_YY") << plain;
    QTest::newRow("nonsense") << QByteArray("\xff///@@@") << plain;
    QTest::newRow("German: umlauts beside their vowels")
        << QByteArray("de_DE.UTF-8") << QStringList{"Ärger", "Arzt", "Öl", "Omen"};
    QTest::newRow("Swedish: umlauts at the end")
        << QByteArray("sv_SE.UTF-8") << QStringList{"Arzt", "Omen", "Ärger", "Öl"};
    QTest::newRow("case last") << QByteArray("en_US.UTF-8") << QStringList{"mail", "Mail", "mails"};
}

void TestNameOrder::orders() {
    QFETCH(QByteArray, locale);
    QFETCH(QStringList, names);
    QStringList reversed = names;
    std::reverse(reversed.begin(), reversed.end());
    QCOMPARE(sorted(locale, reversed), names);
    QCOMPARE(sorted(locale, names), names);
}

void TestNameOrder::equalNames_keepTheirOrder() {
    QList<Named> list;
    for (int i = 0; i < 100; ++i)
        list.append({i % 2 ? "b" : "a", i});
    NameOrder("C").sort(list);
    for (int i = 0; i < 100; ++i)
        QCOMPARE(list[i].number, i < 50 ? i * 2 : (i - 50) * 2 + 1);
}

void TestNameOrder::longAndEmptyNames_haveKeys() {
    const NameOrder order("de_DE");
    QVERIFY(order.keyOf("") < order.keyOf("a"));
    const QString longName(10'000, QChar(0x6f22));
    QVERIFY(order.keyOf(longName) < order.keyOf(longName + "a"));
    QVERIFY(order.keyOf(QString(QChar(0xd800))) == order.keyOf(QString(QChar(0xd800))));
}

void TestNameOrder::locale_isTheFirstVariableThatIsSet() {
    for (const char* const variable : {"LC_ALL", "LC_COLLATE", "LANG"})
        qunsetenv(variable);
    QCOMPARE(NameOrder::userLocale(), QByteArray());
    qputenv("LANG", "sv_SE.UTF-8");
    QCOMPARE(NameOrder::userLocale(), QByteArray("sv_SE.UTF-8"));
    qputenv("LC_COLLATE", "de_DE.UTF-8");
    QCOMPARE(NameOrder::userLocale(), QByteArray("de_DE.UTF-8"));
    qputenv("LC_ALL", "");
    QCOMPARE(NameOrder::userLocale(), QByteArray("de_DE.UTF-8"));
    qputenv("LC_ALL", "C");
    QCOMPARE(NameOrder::userLocale(), QByteArray("C"));
}

QTEST_GUILESS_MAIN(TestNameOrder)
#include "TestNameOrder.moc"
