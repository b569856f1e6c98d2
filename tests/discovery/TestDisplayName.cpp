#include "discovery/AppInfo.h"
#include "discovery/BrowserInfo.h"
#include "discovery/DisplayName.h"

#include <QSet>
#include <QTest>

using namespace vantorel;

class TestDisplayName : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void names_data();
    void names();
    void firstEntryWithTheId_names();
    void browsers_areEqualById();
    void apps_areEqualByAllThreeValues();
};

void TestDisplayName::names_data() {
    QTest::addColumn<QString>("id");
    QTest::addColumn<QString>("name");
    QTest::newRow("installed") << "org.test.Browser"
                               << "The Browser";
    QTest::newRow("installed without a name") << "org.test.Nameless"
                                              << "";
    QTest::newRow("not installed") << "com.maker.Chat"
                                   << "Chat";
    QTest::newRow("other case") << "org.test.browser"
                                << "browser";
    QTest::newRow("no dots") << "firefox-esr"
                             << "firefox-esr";
    QTest::newRow("dots at the end") << "com.maker.."
                                     << "maker";
    QTest::newRow("dots only") << "..."
                               << "...";
    QTest::newRow("empty") << ""
                           << "";
}

void TestDisplayName::names() {
    QFETCH(QString, id);
    const QList<BrowserInfo> browsers = {{.id = "org.test.Browser", .name = "The Browser", .appURL = {}, .icon = {}},
                                         {.id = "org.test.Nameless", .name = "", .appURL = {}, .icon = {}}};
    QTEST(displayName(id, browsers), "name");
}

void TestDisplayName::firstEntryWithTheId_names() {
    const QList<AppInfo> apps = {{.id = "a", .name = "First", .appURL = {}, .icon = {}},
                                 {.id = "a", .name = "Second", .appURL = {}, .icon = {}}};
    QCOMPARE(displayName("a", apps), QString("First"));
}

void TestDisplayName::browsers_areEqualById() {
    const BrowserInfo one{.id = "a", .name = "One", .appURL = QUrl("file:///1"), .icon = "1"};
    const BrowserInfo same{.id = "a", .name = "Two", .appURL = QUrl("file:///2"), .icon = "2"};
    const BrowserInfo other{.id = "b", .name = "One", .appURL = QUrl("file:///1"), .icon = "1"};
    QVERIFY(one == same);
    QVERIFY(!(one == other));
    QCOMPARE((QSet<BrowserInfo>{one, same, other}).size(), 2);
}

void TestDisplayName::apps_areEqualByAllThreeValues() {
    const AppInfo one{.id = "a", .name = "One", .appURL = QUrl("file:///1"), .icon = "1"};
    AppInfo same = one;
    same.icon = "2";
    QVERIFY(one == same);
    AppInfo named = one;
    named.name = "Two";
    AppInfo moved = one;
    moved.appURL = QUrl("file:///2");
    AppInfo other = one;
    other.id = "b";
    QCOMPARE((QSet<AppInfo>{one, same, named, moved, other}).size(), 4);
}

QTEST_GUILESS_MAIN(TestDisplayName)
#include "TestDisplayName.moc"
