#include "interception/URLInterceptor.h"

#include "routing/Link.h"

#include <QTest>

using namespace vantorel;

class TestURLInterceptor : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void candidates_data();
    void candidates();
    void handleGetURL_routesOnceWithTheLink();
    void handleGetURL_textThatIsNoLink_isNotRouted();
};

namespace {

using Name = std::optional<QString>;

const char* const kOwn = "com.qorbex.Vantorel";

} // namespace

Q_DECLARE_METATYPE(Name)

void TestURLInterceptor::candidates_data() {
    QTest::addColumn<Name>("sender");
    QTest::addColumn<Name>("lastActive");
    QTest::addColumn<Name>("frontmost");
    QTest::addColumn<QStringList>("expected");
    const auto row = [](const char* name, Name sender, Name lastActive, Name frontmost, const QStringList& expected) {
        QTest::newRow(name) << sender << lastActive << frontmost << expected;
    };
    row("three", "A", "B", "C", {"A", "B", "C"});
    row("front again the sender", "A", "B", "A", {"A", "B"});
    row("sender unknown", {}, "B", "B", {"B"});
    row("none known", {}, {}, {}, {});
    row("all ourselves", kOwn, kOwn, kOwn, {});
    row("ourselves between others", "A", kOwn, "B", {"A", "B"});
    row("letter case counts", "a", "A", "a", {"a", "A"});
    row("only in front", {}, {}, "C", {"C"});
}

void TestURLInterceptor::candidates() {
    QFETCH(Name, sender);
    QFETCH(Name, lastActive);
    QFETCH(Name, frontmost);
    QList<QStringList> routed;
    const URLInterceptor interceptor([&routed](const Link&, const QStringList& ids) { routed.append(ids); },
                                     [&] { return lastActive; }, [&] { return frontmost; }, kOwn);
    interceptor.handleGetURL("https://x.test/", sender);
    QCOMPARE(routed.size(), 1);
    QTEST(routed.constFirst(), "expected");
}

void TestURLInterceptor::handleGetURL_routesOnceWithTheLink() {
    QStringList routed;
    const auto nobody = [] { return Name(); };
    const URLInterceptor interceptor(
        [&routed](const Link& url, const QStringList&) { routed.append(url.absoluteString()); }, nobody, nobody, kOwn);
    interceptor.handleGetURL("HTTPS://x.test/%7e|", {});
    QCOMPARE(routed, QStringList{"HTTPS://x.test/%7e%7C"});
}

void TestURLInterceptor::handleGetURL_textThatIsNoLink_isNotRouted() {
    int routed = 0;
    const auto nobody = [] { return Name(); };
    const URLInterceptor interceptor([&routed](const Link&, const QStringList&) { ++routed; }, nobody, nobody, kOwn);
    for (const char* const text : {"", "word", "https://x.test:port/", "https://x.test/\n"})
        interceptor.handleGetURL(text, "A");
    QCOMPARE(routed, 0);
}

QTEST_GUILESS_MAIN(TestURLInterceptor)
#include "TestURLInterceptor.moc"
