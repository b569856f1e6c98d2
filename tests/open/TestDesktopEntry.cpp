#include "platform/freedesktop/DesktopEntry.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

#include <sys/stat.h>

using Strings = std::vector<std::string>;

Q_DECLARE_METATYPE(Strings)

/// Installed applications, found in private folders.
class TestDesktopEntry : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();

    void folders_dataHomeComesFirst();
    void folders_defaultsWithoutEnvironment();
    void folders_relativeAndEmptyOnesAreIgnored();

    void plainEntry_isReadWhole();
    void noName_isNamedByItsId();
    void name_isLocalised();
    void dataHome_masksDataDirs();
    void laterDataDir_isUsedWhereEarlierHasNone();
    void hiddenEntry_masksLaterFolders();
    void brokenEntry_masksLaterFolders();
    void subfolder_isPartOfTheId();
    void subfolder_nameMayContainDashes();
    void subfolder_plainFileWins();
    void noDisplay_doesNotMatter();
    void activatable_needsNoExec();
    void programBelowPath_isFound();
    void whyNot_isOptional();

    void refusals_data();
    void refusals();

    void splitExec_data();
    void splitExec();

    void findProgram_firstOfPathThatMayBeExecuted();
    void findProgram_relativeNeedsAFolder();
    void findProgram_folderIsNoProgram();

private:
    QByteArray path(const char* name) const { return m_root->path().toUtf8() + '/' + name; }
    void write(const char* name, const QByteArray& content, mode_t mode = 0644) const;
    void entry(const char* name, const QByteArray& keys) const;

    std::unique_ptr<QTemporaryDir> m_root;
};

void TestDesktopEntry::init() {
    m_root = std::make_unique<QTemporaryDir>();
    qputenv("HOME", path("home"));
    qputenv("XDG_DATA_HOME", path("data"));
    qputenv("XDG_DATA_DIRS", path("first") + ':' + path("second"));
    qputenv("PATH", path("bin"));
    qputenv("LANGUAGE", "");
    qputenv("LC_ALL", "C");
    write("bin/browser", "#!/bin/sh\n", 0755);
    write("bin/plain", "text");
}

void TestDesktopEntry::write(const char* name, const QByteArray& content, mode_t mode) const {
    const auto file = QString::fromUtf8(path(name));
    QVERIFY(QDir().mkpath(QFileInfo(file).path()));
    QFile writer(file);
    QVERIFY(writer.open(QIODevice::WriteOnly));
    writer.write(content);
    writer.close();
    QCOMPARE(chmod(path(name).constData(), mode), 0);
}

void TestDesktopEntry::entry(const char* name, const QByteArray& keys) const {
    write(name, "[Desktop Entry]\nType=Application\n" + keys);
}

void TestDesktopEntry::folders_dataHomeComesFirst() {
    const auto folders = vantorel::applicationFolders();
    QCOMPARE(folders.size(), 3U);
    QCOMPARE(folders[0].c_str(), path("data/applications").constData());
    QCOMPARE(folders[1].c_str(), path("first/applications").constData());
    QCOMPARE(folders[2].c_str(), path("second/applications").constData());
}

void TestDesktopEntry::folders_defaultsWithoutEnvironment() {
    qunsetenv("XDG_DATA_HOME");
    qputenv("XDG_DATA_DIRS", "");
    const auto folders = vantorel::applicationFolders();
    QCOMPARE(folders.size(), 3U);
    QCOMPARE(folders[0].c_str(), path("home/.local/share/applications").constData());
    QCOMPARE(folders[1].c_str(), "/usr/local/share/applications");
    QCOMPARE(folders[2].c_str(), "/usr/share/applications");
}

void TestDesktopEntry::folders_relativeAndEmptyOnesAreIgnored() {
    qputenv("XDG_DATA_HOME", "data");
    qputenv("XDG_DATA_DIRS", ":some/where::/a/:/b");
    const auto folders = vantorel::applicationFolders();
    QCOMPARE(folders.size(), 3U);
    QCOMPARE(folders[0].c_str(), path("home/.local/share/applications").constData());
    QCOMPARE(folders[1].c_str(), "/a/applications");
    QCOMPARE(folders[2].c_str(), "/b/applications");
}

void TestDesktopEntry::plainEntry_isReadWhole() {
    entry("first/applications/net.web.desktop",
          "Name=Web\nExec=browser --new \"a b\" %u\nIcon=web\nPath=/\nTerminal=true\nDBusActivatable=true\n"
          "TryExec=browser\n");
    const auto found = vantorel::findDesktopEntry("net.web");
    QVERIFY(found);
    QCOMPARE(found->id.c_str(), "net.web");
    QCOMPARE(found->path.c_str(), path("first/applications/net.web.desktop").constData());
    QCOMPARE(found->name.c_str(), "Web");
    QCOMPARE(found->icon.c_str(), "web");
    QCOMPARE(found->command, (Strings{"browser", "--new", "a b", "%u"}));
    QCOMPARE(found->program.c_str(), path("bin/browser").constData());
    QCOMPARE(found->workingDirectory.c_str(), "/");
    QVERIFY(found->dbusActivatable);
    QVERIFY(found->terminal);
}

void TestDesktopEntry::noName_isNamedByItsId() {
    entry("data/applications/x.desktop", "Exec=browser\n");
    const auto found = vantorel::findDesktopEntry("x");
    QVERIFY(found);
    QCOMPARE(found->name.c_str(), "x");
    QVERIFY(!found->dbusActivatable);
    QVERIFY(!found->terminal);
}

void TestDesktopEntry::name_isLocalised() {
    entry("data/applications/x.desktop", "Name=Web\nName[de]=Netz\nName[fr]=Toile\nExec=browser\n");
    const auto name = [] { return vantorel::findDesktopEntry("x").value().name; };
    qunsetenv("LC_ALL");
    qputenv("LANGUAGE", "de");
    qputenv("LANG", "fr_FR.UTF-8");
    QCOMPARE(name().c_str(), "Netz");
    qunsetenv("LANGUAGE");
    QCOMPARE(name().c_str(), "Toile");
    qputenv("LANG", "en_GB.UTF-8");
    QCOMPARE(name().c_str(), "Web");
}

void TestDesktopEntry::dataHome_masksDataDirs() {
    entry("data/applications/x.desktop", "Name=Mine\nExec=browser\n");
    entry("first/applications/x.desktop", "Name=Theirs\nExec=browser\n");
    QCOMPARE(vantorel::findDesktopEntry("x").value().name.c_str(), "Mine");
}

void TestDesktopEntry::laterDataDir_isUsedWhereEarlierHasNone() {
    entry("second/applications/x.desktop", "Name=Second\nExec=browser\n");
    QCOMPARE(vantorel::findDesktopEntry("x").value().name.c_str(), "Second");
    entry("first/applications/x.desktop", "Name=First\nExec=browser\n");
    QCOMPARE(vantorel::findDesktopEntry("x").value().name.c_str(), "First");
}

void TestDesktopEntry::hiddenEntry_masksLaterFolders() {
    write("data/applications/x.desktop", "[Desktop Entry]\nHidden=true\n");
    entry("first/applications/x.desktop", "Exec=browser\n");
    std::string whyNot;
    QVERIFY(!vantorel::findDesktopEntry("x", &whyNot));
    QCOMPARE(whyNot.c_str(), QByteArray(path("data/applications/x.desktop") + " is hidden").constData());
}

void TestDesktopEntry::brokenEntry_masksLaterFolders() {
    entry("data/applications/x.desktop", "Exec=browser\nTryExec=absent\n");
    entry("first/applications/x.desktop", "Exec=browser\n");
    QVERIFY(!vantorel::findDesktopEntry("x"));
}

void TestDesktopEntry::subfolder_isPartOfTheId() {
    entry("first/applications/vendor/deep/foo.desktop", "Name=Deep\nExec=browser\n");
    const auto found = vantorel::findDesktopEntry("vendor-deep-foo");
    QVERIFY(found);
    QCOMPARE(found->id.c_str(), "vendor-deep-foo");
    QVERIFY(!vantorel::findDesktopEntry("foo"));
    QVERIFY(!vantorel::findDesktopEntry("vendor/deep/foo"));
    QVERIFY(!vantorel::findDesktopEntry("vendor/deep-foo"));
}

void TestDesktopEntry::subfolder_nameMayContainDashes() {
    entry("first/applications/my-vendor/foo-bar.desktop", "Exec=browser\n");
    QVERIFY(QDir().mkpath(QString::fromUtf8(path("first/applications/my"))));
    QVERIFY(vantorel::findDesktopEntry("my-vendor-foo-bar"));
}

void TestDesktopEntry::subfolder_plainFileWins() {
    entry("first/applications/vendor/foo.desktop", "Name=Below\nExec=browser\n");
    entry("first/applications/vendor-foo.desktop", "Name=Beside\nExec=browser\n");
    QCOMPARE(vantorel::findDesktopEntry("vendor-foo").value().name.c_str(), "Beside");
}

void TestDesktopEntry::noDisplay_doesNotMatter() {
    entry("data/applications/x.desktop", "NoDisplay=true\nExec=browser\n");
    QVERIFY(vantorel::findDesktopEntry("x"));
}

void TestDesktopEntry::activatable_needsNoExec() {
    entry("data/applications/net.x.desktop", "DBusActivatable=true\n");
    const auto found = vantorel::findDesktopEntry("net.x");
    QVERIFY(found);
    QVERIFY(found->command.empty());
    QVERIFY(found->program.empty());
}

void TestDesktopEntry::programBelowPath_isFound() {
    entry("data/applications/x.desktop", "Exec=tools/run %u\nPath=" + path("app") + '\n');
    write("app/tools/run", "#!/bin/sh\n", 0755);
    QCOMPARE(vantorel::findDesktopEntry("x").value().program.c_str(), path("app/tools/run").constData());
}

void TestDesktopEntry::whyNot_isOptional() {
    QVERIFY(!vantorel::findDesktopEntry("nothing"));
}

void TestDesktopEntry::refusals_data() {
    QTest::addColumn<QByteArray>("id");
    QTest::addColumn<QByteArray>("content"); // of data/applications/x.desktop; %1 in the reason is its path
    QTest::addColumn<QByteArray>("reason");
    const QByteArray good = "[Desktop Entry]\nType=Application\nExec=browser\n";
    const QByteArray head = "[Desktop Entry]\nType=Application\n";
    const auto row = [](const char* name, const QByteArray& id, const QByteArray& content, const QByteArray& reason) {
        QTest::newRow(name) << id << content << reason;
    };
    row("unknown", "y", good, "no application has the id \"y\"");
    row("empty id", "", good, "no application has the id \"\"");
    row("slash", "../applications/x", good, "no application has the id \"../applications/x\"");
    row("climbing sub-folder", "..-applications-x", good, "no application has the id \"..-applications-x\"");
    row("this folder", ".-x", good, "no application has the id \".-x\"");
    row("leading dash", "-x", good, "no application has the id \"-x\"");
    row("with suffix", "x.desktop", good, "no application has the id \"x.desktop\"");
    row("hidden", "x", good + "Hidden=true\n", "%1 is hidden");
    row("no key file", "x", "hello\n", "%1 cannot be read: *");
    row("empty file", "x", "", "%1 is no desktop entry");
    row("other group first", "x", "[Other]\n" + good, "%1 is no desktop entry");
    row("link entry", "x", "[Desktop Entry]\nType=Link\nURL=https://x.test/\n",
        "%1 is no desktop entry of an application");
    row("no type", "x", "[Desktop Entry]\nExec=browser\n", "%1 is no desktop entry of an application");
    row("no exec", "x", head, "%1 names no program to execute");
    row("blank exec", "x", head + "Exec= \n", "%1 names no program to execute");
    row("absent program", "x", head + "Exec=absent %u\n", "program \"absent\" not found (Exec of %1)");
    row("absent path", "x", head + "Exec=/absent/b %u\n", "program \"/absent/b\" not found (Exec of %1)");
    row("program without permission", "x", head + "Exec=plain\n", "program \"plain\" is not executable (Exec of %1)");
    row("empty program", "x", head + "Exec=\"\" %u\n", "program \"\" not found (Exec of %1)");
    row("open quote", "x", head + "Exec=browser \"%u\n", "the quoting in Exec of %1 is broken");
    row("absent TryExec", "x", good + "TryExec=absent\n", "program \"absent\" not found (TryExec of %1)");
    row("TryExec without permission", "x", good + "TryExec=plain\n",
        "program \"plain\" is not executable (TryExec of %1)");
    row("activatable, absent program", "x", head + "DBusActivatable=true\nExec=absent\n",
        "program \"absent\" not found (Exec of %1)");
}

void TestDesktopEntry::refusals() {
    QFETCH(QByteArray, id);
    QFETCH(QByteArray, content);
    QFETCH(QByteArray, reason);
    write("data/applications/x.desktop", content);
    std::string whyNot;
    QVERIFY(!vantorel::findDesktopEntry(id.toStdString(), &whyNot));
    auto expected = reason.replace("%1", path("data/applications/x.desktop"));
    if (expected.endsWith('*')) {
        expected.chop(1);
        QVERIFY2(whyNot.starts_with(expected.toStdString()), whyNot.c_str());
    } else {
        QCOMPARE(whyNot.c_str(), expected.constData());
    }
    QVERIFY(whyNot.find('\n') == std::string::npos);
}

void TestDesktopEntry::splitExec_data() {
    QTest::addColumn<QByteArray>("exec");
    QTest::addColumn<Strings>("arguments");
    QTest::addColumn<bool>("broken");
    const auto row = [](const char* exec, const Strings& arguments) {
        QTest::newRow(*exec ? exec : "empty") << QByteArray(exec) << arguments << false;
    };
    row("", {});
    row(" \t ", {});
    row("a", {"a"});
    row("  a  b\tc\n", {"a", "b", "c"});
    row(R"(a "b c" d)", {"a", "b c", "d"});
    row(R"(a "")", {"a", ""});
    row(R"(a '')", {"a", ""});
    row(R"("a \"b\" \`c\` \$d \\e")", {R"(a "b" `c` $d \e)"});
    row(R"("a\nb\x")", {R"(a\nb\x)"});
    row(R"(a\ b \"c)", {"a b", "\"c"});
    row(R"('a "b" \c')", {R"(a "b" \c)"});
    row(R"(--x="a b"c)", {"--x=a bc"});
    row(R"("it's" 'say "x"')", {"it's", "say \"x\""});
    row("a # $HOME ~ *;`x` &|<>()", {"a", "#", "$HOME", "~", "*;`x`", "&|<>()"});
    row("%% %u %i", {"%%", "%u", "%i"});
    for (const char* exec : {R"(a "b)", R"(a 'b)", R"(a b\)", R"(a "b\")"}) {
        QTest::newRow(exec) << QByteArray(exec) << Strings() << true;
    }
}

void TestDesktopEntry::splitExec() {
    QFETCH(QByteArray, exec);
    QFETCH(Strings, arguments);
    QFETCH(bool, broken);
    const auto split = vantorel::splitExec(exec.toStdString());
    QCOMPARE(!split, broken);
    QCOMPARE(split.value_or(Strings()), arguments);
}

void TestDesktopEntry::findProgram_firstOfPathThatMayBeExecuted() {
    write("other/plain", "#!/bin/sh\n", 0755);
    write("other/browser", "#!/bin/sh\n", 0755);
    qputenv("PATH", "relative::" + path("bin") + ':' + path("other"));
    QCOMPARE(vantorel::findProgram("browser").value().c_str(), path("bin/browser").constData());
    QCOMPARE(vantorel::findProgram("plain").value().c_str(), path("other/plain").constData());
}

void TestDesktopEntry::findProgram_relativeNeedsAFolder() {
    QVERIFY(!vantorel::findProgram("bin/browser"));
    QVERIFY(!vantorel::findProgram("bin/browser", "relative"));
    const auto found = vantorel::findProgram("bin/browser", m_root->path().toStdString());
    QCOMPARE(found.value().c_str(), path("bin/browser").constData());
}

void TestDesktopEntry::findProgram_folderIsNoProgram() {
    QVERIFY(QDir().mkpath(QString::fromUtf8(path("bin/folder"))));
    std::string whyNot;
    QVERIFY(!vantorel::findProgram("folder", {}, &whyNot));
    QCOMPARE(whyNot.c_str(), "program \"folder\" is not executable");
}

QTEST_GUILESS_MAIN(TestDesktopEntry)
#include "TestDesktopEntry.moc"
