#include "open/ExecLine.h"

#include "platform/freedesktop/DesktopEntry.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using Strings = std::vector<std::string>;

Q_DECLARE_METATYPE(Strings)

/// From the Exec key to the arguments of the program.
class TestExecLine : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void expansion_data();
    void expansion();
    void noIcon_leavesNothing();
    void linkIsNeverReadAgain_data();
    void linkIsNeverReadAgain();
    void refusals_data();
    void refusals();
    void localPath_data();
    void localPath();
    void terminal_firstInstalledIsUsed();
};

namespace {

vantorel::DesktopEntry entryFor(const QByteArray& exec) {
    vantorel::DesktopEntry entry;
    entry.id = "net.web";
    entry.path = "/apps/net.web.desktop";
    entry.name = "The Web";
    entry.icon = "web icon";
    entry.command = vantorel::splitExec(exec.toStdString()).value();
    return entry;
}

} // namespace

void TestExecLine::expansion_data() {
    QTest::addColumn<QByteArray>("exec");
    QTest::addColumn<QByteArray>("link");
    QTest::addColumn<Strings>("arguments");
    const auto row = [](const char* exec, const char* link, const Strings& arguments) {
        QTest::addRow("%s <- %s", exec, link) << QByteArray(exec) << QByteArray(link) << arguments;
    };
    row("b %u", "https://x.test/", {"b", "https://x.test/"});
    row("b %U", "https://x.test/", {"b", "https://x.test/"});
    row("b %f", "https://x.test/", {"b", "https://x.test/"});
    row("b %F", "https://x.test/", {"b", "https://x.test/"});
    row("b %u", "file:///a%20b", {"b", "file:///a%20b"});
    row("b %f", "file:///a%20b", {"b", "/a b"});
    row("b %F", "file:///a%20b", {"b", "/a b"});
    row("b --url=%u --new", "https://x.test/", {"b", "--url=https://x.test/", "--new"});
    row("b --url=%U", "https://x.test/", {"b", "--url=https://x.test/"});
    row(R"(b "%u")", "https://x.test/", {"b", "https://x.test/"});
    row("b '--url=%u'", "https://x.test/", {"b", "--url=https://x.test/"});
    row("b %i %u", "l", {"b", "--icon", "web icon", "l"});
    row("b -n %c %u", "l", {"b", "-n", "The Web", "l"});
    row("b --name=%c %u", "l", {"b", "--name=The Web", "l"});
    row("b %k %u", "l", {"b", "/apps/net.web.desktop", "l"});
    row("b 100%% %%u %u", "l", {"b", "100%", "%u", "l"});
    row("b %%%u", "l", {"b", "%l"});
    row("b %d %D %n %N %v %m %u", "l", {"b", "l"});
    row("b x%dy %u", "l", {"b", "xy", "l"});
    row("b %d%m %u", "l", {"b", "l"});
    row(R"(b "" %u)", "l", {"b", "", "l"});
    row("b %u %u", "l", {"b", "l"});
    row("b %f --url=%u %U", "l", {"b", "l", "--url="});
    row(R"(sh -c "exec b \"\$1\"" sh %u)", "l", {"sh", "-c", R"(exec b "$1")", "sh", "l"});
}

void TestExecLine::expansion() {
    QFETCH(QByteArray, exec);
    QFETCH(QByteArray, link);
    QFETCH(Strings, arguments);
    std::string whyNot;
    const auto expanded = vantorel::expandExec(entryFor(exec), link.toStdString(), whyNot);
    QVERIFY2(expanded, whyNot.c_str());
    QCOMPARE(*expanded, arguments);
}

void TestExecLine::noIcon_leavesNothing() {
    auto entry = entryFor("b %i %u");
    entry.icon.clear();
    std::string whyNot;
    QCOMPARE(vantorel::expandExec(entry, "l", whyNot).value(), (Strings{"b", "l"}));
}

void TestExecLine::linkIsNeverReadAgain_data() {
    QTest::addColumn<QByteArray>("link");
    for (const char* link : {"%u%i%c%%", "a b\tc\nd", "'\"`", "$(touch x)", "\\\"\\", "%", "--x", "\xff\xfe\x80", ""}) {
        QTest::addRow("%s", QByteArray(link).toPercentEncoding().constData()) << QByteArray(link);
    }
}

void TestExecLine::linkIsNeverReadAgain() {
    QFETCH(QByteArray, link);
    const auto text = link.toStdString();
    std::string whyNot;
    QCOMPARE(vantorel::expandExec(entryFor("b %u -x=%u"), text, whyNot).value(), (Strings{"b", text, "-x="}));
    QCOMPARE(vantorel::expandExec(entryFor("b -x=%F %%"), text, whyNot).value(), (Strings{"b", "-x=" + text, "%"}));
}

void TestExecLine::refusals_data() {
    QTest::addColumn<QByteArray>("exec");
    QTest::addColumn<QByteArray>("reason");
    const QByteArray code = "Exec of /apps/net.web.desktop has a field code that does not exist";
    const QByteArray text = "Exec of /apps/net.web.desktop makes the link part of a command text";
    const QByteArray none = "\"The Web\" takes no link";
    const auto row = [](const char* exec, const QByteArray& reason) {
        QTest::addRow("%s", exec) << QByteArray(exec) << reason;
    };
    row("b", none);
    row("b %%u", none);
    row("b %i %c %k %d", none);
    row("b %x %u", code);
    row("b %u %", code);
    row("b a%", code);
    row("b -x=%i %u", code);
    row("b % u", code);
    row(R"(sh -c "b %u")", text);
    row("sh -c 'b \"%u\"'", text);
    row("sh -c 'b;%f'", text);
    row("sh -c 'b %U' %u", text);
}

void TestExecLine::refusals() {
    QFETCH(QByteArray, exec);
    QFETCH(QByteArray, reason);
    std::string whyNot;
    QVERIFY(!vantorel::expandExec(entryFor(exec), "https://x.test/", whyNot));
    QCOMPARE(whyNot.c_str(), reason.constData());
}

void TestExecLine::localPath_data() {
    QTest::addColumn<QByteArray>("link");
    QTest::addColumn<QByteArray>("path"); // empty for none
    const auto row = [](const char* link, const char* path) {
        QTest::addRow("%s", link) << QByteArray(link) << QByteArray(path);
    };
    row("file:///a/b.html", "/a/b.html");
    row("FILE:///a", "/a");
    row("file:/a", "/a");
    row("file://localhost/a", "/a");
    row("file://LOCALHOST/a", "/a");
    row("file:///a%20%c3%a4%25%3Fb", "/a \xc3\xa4%?b");
    row("file:///%ff", "/\xff");
    row("file:///a.html?x=1#y", "/a.html");
    row("file:///a.html#y", "/a.html");
    row("file://other.test/a", "");
    row("file:///a%2Fb", "");
    row("file:///a%00b", "");
    row("file:///a%zz", "");
    row("file:a", "");
    row("file:", "");
    row("files:///a", "");
    row("https://x.test/", "");
    row("", "");
}

void TestExecLine::localPath() {
    QFETCH(QByteArray, link);
    QFETCH(QByteArray, path);
    const auto found = vantorel::localPath(link.toStdString());
    QCOMPARE(found.value_or(std::string()).c_str(), path.constData());
    QCOMPARE(!found, path.isEmpty());
}

void TestExecLine::terminal_firstInstalledIsUsed() {
    const QTemporaryDir folder;
    const auto path = folder.path();
    qputenv("PATH", path.toUtf8());
    QVERIFY(!vantorel::inTerminal({"b", "l"}));
    // From the last choice to the first, so that each is in use for a moment.
    const std::vector<std::pair<const char*, const char*>> terminals = {
        {"xterm", "-e"},          {"xfce4-terminal", "-x"},      {"konsole", "-e"},
        {"gnome-terminal", "--"}, {"x-terminal-emulator", "-e"}, {"xdg-terminal-exec", ""}};
    for (const auto& [name, option] : terminals) {
        QFile file(path + QLatin1Char('/') + QString::fromLatin1(name));
        QVERIFY(file.open(QIODevice::WriteOnly));
        QVERIFY(file.setPermissions(QFile::ReadOwner | QFile::ExeOwner));
        Strings expected = {path.toStdString() + '/' + name, option, "b", "l"};
        if (*option == '\0') {
            expected.erase(expected.begin() + 1);
        }
        QCOMPARE(vantorel::inTerminal({"b", "l"}).value(), expected);
    }
}

QTEST_GUILESS_MAIN(TestExecLine)
#include "TestExecLine.moc"
