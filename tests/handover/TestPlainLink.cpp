#include "handover/PlainLink.h"

#include "platform/freedesktop/RunningInstance.h"

#include <QTest>

using namespace vantorel;

class TestPlainLink : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void isPlainLink_data();
    void isPlainLink();
};

void TestPlainLink::isPlainLink_data() {
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<bool>("isPlain");
    const auto row = [](const QByteArray& text, bool isPlain) {
        QTest::addRow("%s", text.isEmpty() ? "(empty)" : text.constData()) << text << isPlain;
    };
    for (const char* const text :
         {"http://example.test", "https://example.test/", "https://www.example.test:8080/a/b.html?q=%41%c3#top",
          "http://127.0.0.1:1/", "https://a/b;c=d,e/@f:g/(h)/*!$&'~_-.", "http://xn--bcher-kva.test?x#y?z/"})
        row(text, true);
    for (const char* const text : {"",
                                   "http",
                                   "http:",
                                   "http://",
                                   "https:///path",
                                   "HTTP://example.test/",
                                   "ftp://example.test/",
                                   "file:///tmp",
                                   "mailto:a@example.test",
                                   "/tmp",
                                   "example.test",
                                   "http://user@example.test/",
                                   "http://user:1@example.test/",
                                   "http://[::1]/",
                                   "http://-a/",
                                   "http://.a/",
                                   "http://a_b/",
                                   "http://a%41/",
                                   "http://a:/",
                                   "http://a:b/",
                                   "http://a:12345/",
                                   "http://a/%",
                                   "http://a/%4",
                                   "http://a/%4g",
                                   "http://a/ b",
                                   "http://a/\"",
                                   "http://a/<>",
                                   "http://a/\\",
                                   "http://a/^",
                                   "http://a/`",
                                   "http://a/{}",
                                   "http://a/|",
                                   "http://a/[]",
                                   "http://a/#b#c",
                                   "http://a/\x01",
                                   "http://a/\x7f",
                                   "http://a/\n",
                                   "http://a/\xc3\xbc",
                                   "http://\xc3\xbc/",
                                   " http://a/"})
        row(text, false);
}

// What is plain is handed over as the program would hand it over, too.
void TestPlainLink::isPlainLink() {
    QFETCH(QByteArray, text);
    QFETCH(bool, isPlain);
    QCOMPARE(vantorel::isPlainLink({text.constData(), static_cast<std::size_t>(text.size())}), isPlain);
    if (isPlain)
        QCOMPARE(linksOfArguments({text}, "/"), QStringList{QString::fromLatin1(text)});
}

QTEST_GUILESS_MAIN(TestPlainLink)
#include "TestPlainLink.moc"
