#include "Sandbox.h"

#include <QFile>
#include <QTest>

namespace {

constexpr const char* kOwn = "com.qorbex.Vantorel";
constexpr const char* kLink = "https://x.test/a%20b";

} // namespace

/// The program itself, given applications that open no link themselves.
class TestOpenHandOn : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void handOn_isRefusedWhileWeAreTheDefault_data();
    void handOn_isRefusedWhileWeAreTheDefault();
    void handOn_isOpenedWhileAnotherIsTheDefault_data() { handOn_isRefusedWhileWeAreTheDefault_data(); }
    void handOn_isOpenedWhileAnotherIsTheDefault();
    void handOn_isOpenedWhileNothingIsTheDefault();
    void typeOfTheLink_counts_data();
    void typeOfTheLink_counts();
    void xfce_hasAChoiceOfItsOwn();
    void ourselvesUnderAnotherId_areNeverOpened();
    void defaultIsAskedForOnlyByEntriesThatHandOn();

private:
    static void install(const Sandbox& box, const QByteArray& chosen,
                        const QByteArray& type = "x-scheme-handler/https");
};

/// A system with ourselves and a browser, of which one is chosen.
void TestOpenHandOn::install(const Sandbox& box, const QByteArray& chosen, const QByteArray& type) {
    box.addEntry(kOwn, "Exec=/usr/bin/true %U");
    box.addApplication("web");
    box.write("home/.config/mimeapps.list", "[Default Applications]\n" + type + '=' + chosen + ".desktop\n");
}

void TestOpenHandOn::handOn_isRefusedWhileWeAreTheDefault_data() {
    QTest::addColumn<QByteArray>("program");
    QTest::addColumn<QByteArray>("exec");
    QTest::newRow("xdg-open") << QByteArray("xdg-open") << QByteArray("xdg-open %u");
    QTest::newRow("exo-open") << QByteArray("exo-open") << QByteArray("exo-open --launch WebBrowser %u");
    QTest::newRow("gio") << QByteArray("gio") << QByteArray("gio open %U");
    QTest::newRow("wrapped") << QByteArray("sensible-browser") << QByteArray("env X=y sensible-browser %u");
    QTest::newRow("shell") << QByteArray("kde-open5") << QByteArray("sh -c 'kde-open5 \"$@\"' x %u");
}

void TestOpenHandOn::handOn_isRefusedWhileWeAreTheDefault() {
    QFETCH(QByteArray, program);
    QFETCH(QByteArray, exec);
    const Sandbox box;
    install(box, kOwn);
    box.addBrowser(program);
    box.addEntry("on", "Exec=" + exec);
    const auto outcome = box.open("on", kLink);
    QCOMPARE(outcome.status, 1);
    QCOMPARE(outcome.errors, "\"The on\" would hand the link back to Vantorel\n");
    QVERIFY(!box.exists("seen/" + program + ".pid"));
    // A browser is opened as ever.
    QCOMPARE(box.open("web", kLink).status, 0);
    QCOMPARE(box.argumentsOf("web"), QByteArrayList{kLink});
}

void TestOpenHandOn::handOn_isOpenedWhileAnotherIsTheDefault() {
    QFETCH(QByteArray, program);
    QFETCH(QByteArray, exec);
    const Sandbox box;
    install(box, "web");
    box.addBrowser(program);
    box.addEntry("on", "Exec=" + exec);
    const auto outcome = box.open("on", kLink);
    QCOMPARE(outcome.errors, "");
    QCOMPARE(outcome.status, 0);
    QCOMPARE(box.argumentsOf(program).last(), kLink);
}

void TestOpenHandOn::handOn_isOpenedWhileNothingIsTheDefault() {
    const Sandbox box;
    box.addBrowser("xdg-open");
    box.addEntry("on", "Exec=xdg-open %u");
    QCOMPARE(box.open("on", kLink).status, 0);
    QCOMPARE(box.argumentsOf("xdg-open"), QByteArrayList{kLink});
}

void TestOpenHandOn::typeOfTheLink_counts_data() {
    QTest::addColumn<QByteArray>("type");
    QTest::addColumn<QByteArray>("link");
    QTest::addColumn<int>("status");
    QTest::newRow("https") << QByteArray("x-scheme-handler/https") << QByteArray("HTTPS://x.test/") << 1;
    QTest::newRow("http") << QByteArray("x-scheme-handler/http") << QByteArray("http://x.test/") << 1;
    QTest::newRow("other") << QByteArray("x-scheme-handler/http") << QByteArray("https://x.test/") << 0;
    QTest::newRow("mail") << QByteArray("x-scheme-handler/mailto") << QByteArray("mailto:x@x.test") << 1;
    QTest::newRow("page") << QByteArray("text/html") << QByteArray("file:///page.html") << 1;
    QTest::newRow("page, no choice") << QByteArray("x-scheme-handler/https") << QByteArray("file:///page.html") << 0;
}

void TestOpenHandOn::typeOfTheLink_counts() {
    QFETCH(QByteArray, type);
    QFETCH(QByteArray, link);
    const Sandbox box;
    install(box, kOwn, type);
    box.addBrowser("xdg-open");
    box.addEntry("on", "Exec=xdg-open %u");
    QTEST(box.open("on", link).status, "status");
}

void TestOpenHandOn::xfce_hasAChoiceOfItsOwn() {
    const Sandbox box;
    install(box, "xfce4-web-browser");
    box.addBrowser("exo-open");
    box.addBrowser("xdg-open");
    box.addEntry("xfce4-web-browser", "Exec=exo-open --launch WebBrowser %u");
    box.addEntry("on", "Exec=xdg-open %u");
    box.addBrowser("vantorel");
    box.write("data/xfce4/helpers/custom-WebBrowser.desktop", "X-XFCE-Commands=" + box.path("bin/vantorel") + '\n');
    QCOMPARE(box.open("xfce4-web-browser", kLink).status, 0);
    QCOMPARE(box.open("on", kLink).status, 0);
    box.write("home/.config/xfce4/helpers.rc", "WebBrowser=custom-WebBrowser\n");
    QCOMPARE(box.open("xfce4-web-browser", kLink).status, 1);
    QCOMPARE(box.open("on", kLink).status, 1);
}

void TestOpenHandOn::ourselvesUnderAnotherId_areNeverOpened() {
    const Sandbox box;
    install(box, "web");
    box.addBrowser("vantorel");
    box.addBrowser("other");
    QVERIFY(QFile::link("vantorel", QString::fromUtf8(box.path("bin/alias"))));
    box.addEntry("named", "Exec=vantorel %U");
    box.addEntry("linked", "Exec=alias %U");
    box.addEntry("activated", "DBusActivatable=true\nExec=vantorel %U");
    box.addEntry(kOwn, "DBusActivatable=true\nExec=other %U");
    for (const char* const id : {"named", "linked", "activated", kOwn}) {
        const auto outcome = box.open(id, kLink);
        QCOMPARE(outcome.status, 1);
        QCOMPARE(outcome.errors, "\"The " + QByteArray(id) + "\" would hand the link back to Vantorel\n");
    }
    QVERIFY(!box.exists("seen/vantorel.pid"));
    QVERIFY(!box.exists("seen/other.pid"));
}

// The dynamic linker writes down what it loads.
void TestOpenHandOn::defaultIsAskedForOnlyByEntriesThatHandOn() {
    Sandbox box;
    install(box, "web");
    box.addBrowser("xdg-open");
    box.addEntry("on", "Exec=xdg-open %u");
    const auto loadsGio = [&box](const QByteArray& id) {
        box.environment.insert("LD_DEBUG", "files");
        box.environment.insert("LD_DEBUG_OUTPUT", box.path(id));
        auto command = box.start(id, kLink);
        const auto file = id + '.' + QByteArray::number(command.pid());
        return command.finish().status == 0 && box.read(file).contains("libglib-2.0")
            ? std::optional(box.read(file).contains("libgio-2.0"))
            : std::nullopt;
    };
    QCOMPARE(loadsGio("web"), std::optional(false));
    QCOMPARE(loadsGio("on"), std::optional(true));
}

QTEST_GUILESS_MAIN(TestOpenHandOn)
#include "TestOpenHandOn.moc"
