#include "routing/LinkMatcher.h"

#include <QRandomGenerator>
#include <QTest>

using namespace vantorel;

class TestLinkMatcher : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void contains_data();
    void contains();
    void contains_agreesWithFoldingBothTexts();
    void hostEquals_data();
    void hostEquals();
    void startsWith_data();
    void startsWith();
};

Q_DECLARE_METATYPE(LetterCase)

namespace {

Link link(const QByteArray& text) {
    return *Link::parse(text);
}

} // namespace

void TestLinkMatcher::contains_data() {
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QString>("value");
    QTest::addColumn<LetterCase>("letterCase");
    QTest::addColumn<bool>("expected");
    const auto row = [](const char* name, const char* text, QStringView value, bool expected,
                        LetterCase letterCase = LetterCase::standard) {
        QTest::newRow(name) << QByteArray(text) << value.toString() << letterCase << expected;
    };
    row("inside", "https://example.com/a", u"example", true);
    row("at the start", "https://example.com/a", u"https:", true);
    row("at the end", "https://example.com/abc", u"abc", true);
    row("whole", "https://x.test/", u"https://x.test/", true);
    row("longer than the link", "https://x.test/", u"https://x.test/a", false);
    row("one character", "https://x.test/", u"x", true);
    row("one character that is not there", "https://x.test/", u"q", false);
    row("all pairs there but not the value", "https://x.test/ab.bc", u"abc", false);
    row("value in upper case", "https://example.com/", u"EXAMPLE", true);
    row("link in upper case", "https://EXAMPLE.com/", u"example", true);
    row("spaces are encoded in the link", "https://x.test/a b", u"a b", false);
    row("encoded form", "https://x.test/a b", u"a%20b", true);
    row("Kelvin sign is a k", "https://x.test/kind", u"\u212Aind", true);
    row("long s is an s", "https://x.test/list", u"li\u017Ft", true);
    row("sharp s is two s", "https://x.test/strasse", u"straße", true);
    row("accents are not ignored", "https://x.test/cafe", u"café", false);
    row("I in English", "https://x.test/TITLE", u"title", true);
    row("I in Turkish", "https://x.test/TITLE", u"title", false, LetterCase::turkic);
    row("I in both in Turkish", "https://x.test/TITLE", u"TITLE", true, LetterCase::turkic);
    row("dotless i in Turkish", "https://x.test/TITLE", u"tıtle", true, LetterCase::turkic);
    row("dotted I in Turkish", "https://x.test/title", u"TİTLE", true, LetterCase::turkic);
    row("dotted I in English", "https://x.test/title", u"TİTLE", false);
    row("no i at all in Turkish", "https://x.test/ABC", u"abc", true, LetterCase::turkic);
}

void TestLinkMatcher::contains() {
    QFETCH(QByteArray, text);
    QFETCH(QString, value);
    QFETCH(LetterCase, letterCase);
    QTEST(LinkMatcher(link(text), letterCase).contains(value), "expected");
}

// The short cuts for ASCII must never change an answer.
void TestLinkMatcher::contains_agreesWithFoldingBothTexts() {
    QRandomGenerator random(1);
    const QString letters = QStringLiteral("aAbBiIkKsS.-/%\u212A\u017F\u0130\u0131ß");
    const auto text = [&](qsizetype most, qsizetype kinds) {
        QString result;
        for (quint32 left = random.bounded(1U, static_cast<quint32>(most)); left > 0; --left)
            result += letters[random.bounded(static_cast<int>(kinds))];
        return result;
    };
    int matches = 0;
    for (int i = 0; i < 20'000; ++i) {
        const Link url = link("https://x.test/" + text(30, 13).replace("%", "%41").toLatin1());
        const QString value = text(4, letters.size());
        for (const LetterCase letterCase : {LetterCase::standard, LetterCase::turkic}) {
            const bool expected = caseFolded(url.absoluteString(), letterCase).contains(caseFolded(value, letterCase));
            matches += expected ? 1 : 0;
            QVERIFY2(LinkMatcher(url, letterCase).contains(value) == expected,
                     qPrintable(url.absoluteString() + QStringLiteral(" / ") + value));
        }
    }
    QVERIFY(matches > 1000);
}

void TestLinkMatcher::hostEquals_data() {
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QString>("value");
    QTest::addColumn<bool>("expected");
    const auto row = [](const char* name, const char* text, QStringView value, bool expected) {
        QTest::newRow(name) << QByteArray(text) << value.toString() << expected;
    };
    row("same", "https://example.com/", u"example.com", true);
    row("letter case of the value", "https://example.com/", u"Example.COM", true);
    row("letter case of the link", "https://EXAMPLE.com/", u"example.com", true);
    row("port and user do not count", "https://u:p@example.com:8080/", u"example.com", true);
    row("parent domain", "https://www.example.com/", u"example.com", false);
    row("sub-domain", "https://example.com/", u"www.example.com", false);
    row("value with scheme", "https://example.com/", u"https://example.com", false);
    row("value with port", "https://example.com:80/", u"example.com:80", false);
    row("value with path", "https://example.com/", u"example.com/", false);
    row("same length", "https://example.com/", u"exbmple.com", false);
    row("no host", "mailto:a@example.com", u"example.com", false);
    row("empty host", "https:///example.com", u"example.com", false);
    row("non-ASCII", "https://m\xC3\xBCnchen.de/", u"MÜNCHEN.de", true);
    row("IPv6 without brackets", "https://[2001:db8::1]/", u"2001:DB8::1", true);
    row("Kelvin sign", "https://kiosk.test/", u"\u212Aiosk.test", true);
}

void TestLinkMatcher::hostEquals() {
    QFETCH(QByteArray, text);
    QFETCH(QString, value);
    QTEST(LinkMatcher(link(text), LetterCase::standard).hostEquals(value), "expected");
    // Hosts have no language.
    QTEST(LinkMatcher(link(text), LetterCase::turkic).hostEquals(value), "expected");
}

void TestLinkMatcher::startsWith_data() {
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QString>("value");
    QTest::addColumn<bool>("expected");
    const auto row = [](const char* name, const char* text, QStringView value, bool expected) {
        QTest::newRow(name) << QByteArray(text) << value.toString() << expected;
    };
    row("start", "https://example.com/a", u"https://example.com", true);
    row("whole", "https://x.test/", u"https://x.test/", true);
    row("longer", "https://x.test/", u"https://x.test/a", false);
    row("upper case value", "https://x.test/", u"HTTPS://X", true);
    row("upper case link", "HTTPS://X.TEST/I", u"https://x.test/i", true);
    row("not at the start", "https://x.test/", u"x.test", false);
    row("sharp s stays one letter", "https://x.test/ss", u"https://x.test/ß", false);
    row("Kelvin sign lowers to k", "https://k.test/", u"https://\u212A", true);
}

void TestLinkMatcher::startsWith() {
    QFETCH(QByteArray, text);
    QFETCH(QString, value);
    QTEST(LinkMatcher(link(text), LetterCase::standard).startsWith(value), "expected");
    QTEST(LinkMatcher(link(text), LetterCase::turkic).startsWith(value), "expected");
}

QTEST_GUILESS_MAIN(TestLinkMatcher)
#include "TestLinkMatcher.moc"
