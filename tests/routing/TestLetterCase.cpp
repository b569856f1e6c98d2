#include "routing/LetterCase.h"

#include <QTest>

using namespace vantorel;

class TestLetterCase : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void letterCaseForLocale_data();
    void letterCaseForLocale();
    void userLetterCase_takesTheFirstVariableThatIsSet();
    void caseFolded_makesTextsEqualThatDifferInCase();
    void caseFolded_turkic_keepsDottedAndDotlessApart();
    void caseFolded_longText_isWhole();
    void lowerCased_ignoresTheLocale();
};

Q_DECLARE_METATYPE(LetterCase)

void TestLetterCase::letterCaseForLocale_data() {
    QTest::addColumn<QString>("locale");
    QTest::addColumn<LetterCase>("expected");
    QTest::newRow("Turkish") << "tr_TR.UTF-8" << LetterCase::turkic;
    QTest::newRow("Turkish alone") << "tr" << LetterCase::turkic;
    QTest::newRow("Azerbaijani") << "az_AZ@latin" << LetterCase::turkic;
    QTest::newRow("German") << "de_DE.UTF-8" << LetterCase::standard;
    QTest::newRow("Tibetan-like prefix") << "trv_TW" << LetterCase::standard;
    QTest::newRow("C") << "C.UTF-8" << LetterCase::standard;
    QTest::newRow("none") << "" << LetterCase::standard;
}

void TestLetterCase::letterCaseForLocale() {
    QFETCH(QString, locale);
    QTEST(vantorel::letterCaseForLocale(locale), "expected");
}

void TestLetterCase::userLetterCase_takesTheFirstVariableThatIsSet() {
    qunsetenv("LC_ALL");
    qunsetenv("LC_CTYPE");
    qputenv("LANG", "tr_TR.UTF-8");
    QCOMPARE(userLetterCase(), LetterCase::turkic);
    qputenv("LC_CTYPE", "en_GB.UTF-8");
    QCOMPARE(userLetterCase(), LetterCase::standard);
    qputenv("LC_ALL", "az_AZ.UTF-8");
    QCOMPARE(userLetterCase(), LetterCase::turkic);
    qputenv("LC_ALL", "");
    QCOMPARE(userLetterCase(), LetterCase::standard);
}

void TestLetterCase::caseFolded_makesTextsEqualThatDifferInCase() {
    const auto fold = [](const char16_t* text) { return caseFolded(text, LetterCase::standard); };
    QCOMPARE(fold(u"HTTPS://X"), u"https://x");
    QCOMPARE(fold(u"STRASSE"), fold(u"straße"));
    QCOMPARE(fold(u"ΣΑΣ"), fold(u"σας"));
    QCOMPARE(fold(u"ÄÖÜ"), fold(u"äöü"));
    QVERIFY(fold(u"ä") != fold(u"a"));
    QCOMPARE(fold(u"I"), u"i");
}

void TestLetterCase::caseFolded_turkic_keepsDottedAndDotlessApart() {
    const auto fold = [](const char16_t* text) { return caseFolded(text, LetterCase::turkic); };
    QCOMPARE(fold(u"I"), u"ı");
    QCOMPARE(fold(u"İ"), u"i");
    QVERIFY(fold(u"TITLE") != fold(u"title"));
    QCOMPARE(fold(u"TİTLE"), fold(u"title"));
}

void TestLetterCase::caseFolded_longText_isWhole() {
    const QString text(100'000, u'ß');
    QCOMPARE(caseFolded(text, LetterCase::standard), QString(200'000, u's'));
}

void TestLetterCase::lowerCased_ignoresTheLocale() {
    QCOMPARE(lowerCased(u"TITLE"), u"title");
    QCOMPARE(lowerCased(u"STRAẞE"), u"straße");
    QCOMPARE(lowerCased(u"\u212A"), u"k");
}

QTEST_GUILESS_MAIN(TestLetterCase)
#include "TestLetterCase.moc"
