#include "platform/freedesktop/LinkHandOn.h"

#include "platform/freedesktop/BusNames.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <map>

#include <unistd.h>

using namespace vantorel;

namespace {

using To = LinkHandOn::To;

constexpr const char* kOwn = "/opt/vantorel/bin/vantorel";

/// The programs of a system in which two of the alternatives are browsers, and two lead on.
std::string fileOf(const std::string& name) {
    static const std::map<std::string, std::string> kFiles = {
        {"x-www-browser", "/usr/bin/firefox-esr"},
        {"www-browser", "/usr/bin/links2"},
        {"gnome-www-browser", "/usr/bin/x-www-browser"}, // a script, not a link
        {"open", "/usr/bin/xdg-open"},
        {"/usr/bin/gio", "/usr/bin/gio"},
        {"sh", "/usr/bin/dash"},
        {"kde-open5", "/usr/bin/kde-open"},
        {"kioclient5", "/usr/bin/kioclient"},
        {"router", kOwn},
        {"vantorel", "/usr/bin/vantorel"},
        {"missing", ""},
    };
    const auto found = kFiles.find(name);
    if (found != kFiles.end())
        return found->second;
    return name.starts_with('/') ? name : "/usr/bin/" + name;
}

DesktopEntry entryFor(const std::string& exec, std::string id = "org.example.Entry") {
    DesktopEntry entry;
    entry.id = std::move(id);
    entry.command = splitExec(exec).value();
    return entry;
}

LinkHandOn handOn() {
    return LinkHandOn(kOwn, fileOf);
}

} // namespace

Q_DECLARE_METATYPE(LinkHandOn::To)

class TestLinkHandOn : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void entriesHandOn_data();
    void entriesHandOn();
    void ownID_isUsWhateverItExecutes();
    void entryWithoutCommand_handsOnNothing();

    void leadsBack_data();
    void leadsBack();
    void choice_isAskedForOnlyByEntriesThatHandOn();

    void programFile_followsLinks();
    void ownProgram_liesBesideTheOneThatRuns();
    void xfceBrowser_isWhatItsSettingsName();
};

void TestLinkHandOn::entriesHandOn_data() {
    QTest::addColumn<To>("to");
    const auto row = [](const char* exec, To to) { QTest::newRow(exec) << to; };

    row("firefox-esr %u", To::nobody);
    row("/usr/lib/firefox-esr/firefox-esr %u", To::nobody);
    row("missing %u", To::nobody);
    row("browser --app=xdg-open %u", To::nobody);
    row("browser xdg-open %u", To::nobody);
    row("xdg-opener %u", To::nobody);

    for (const char* const opener :
         {"xdg-open %u", "/usr/bin/xdg-open %u", "/home/me/bin/xdg-open %U", "sensible-browser %u", "gnome-open %u",
          "gvfs-open %u", "mate-open %u", "dde-open %u", "kde-open %u", "kde-open5 %u", "kde-open6 %u", "gio open %u",
          "/usr/bin/gio open %u", "kioclient exec %u", "kioclient5 exec %u", "kioclient --noninteractive exec %u",
          "kfmclient openURL %u", "open %u", "gnome-www-browser %u"})
        row(opener, To::preferred);
    row("gio cat %u", To::nobody);
    row("gio %u", To::nobody);
    row("gio", To::nobody);
    row("kioclient copy %u", To::nobody);

    row("x-www-browser %u", To::nobody);
    row("www-browser %u", To::nobody);

    row("exo-open %u", To::preferredByXfce);
    row("exo-open --launch WebBrowser %u", To::preferredByXfce);
    row("exo-open --launch=WebBrowser %u", To::preferredByXfce);
    row("exo-open --working-directory / --launch WebBrowser %u", To::preferredByXfce);
    row("xfce4-mime-helper --launch WebBrowser %u", To::preferredByXfce);
    row("xfce4-mime-helper %u", To::nobody);
    row("exo-open --launch MailReader %u", To::nobody);
    row("exo-open --launch", To::nobody);

    for (const char* const wrapped :
         {"env xdg-open %u", "env X=y xdg-open %u", "/usr/bin/env -i X=y Z= xdg-open %u", "env -u DISPLAY xdg-open %u",
          "env --unset=DISPLAY -- xdg-open %u", "env -C / X=y gio open %u", "nohup xdg-open %u",
          "setsid -f xdg-open %u", "nice -n 5 xdg-open %u", "ionice -c 3 xdg-open %u", "timeout -k 1 5 xdg-open %u",
          "stdbuf -o L xdg-open %u", "dbus-run-session -- xdg-open %u",
          "nohup env X=y nice sh -c 'exec xdg-open \"$@\"' x %u"})
        row(wrapped, To::preferred);
    row("env X=xdg-open firefox %u", To::nobody);
    row("env", To::nobody);
    row("env -u", To::nobody);
    row("env -u xdg-open firefox %u", To::nobody);
    row("timeout xdg-open firefox %u", To::nobody);

    for (const char* const script :
         {"sh -c 'xdg-open \"$@\"' x %u", "bash -c 'exec xdg-open \"$1\"' x %u",
          "/bin/sh -ec ' X=y xdg-open \"$1\" ;' x %u", "sh -c 'xdg-open \"$1\" &' x %u",
          "sh -c 'xdg-open \"$1\" >/dev/null 2>&1' x %u", "sh -c \"env X=y xdg-open \\\"\\$1\\\"\" x %u"})
        row(script, To::preferred);
    // A shell's text of several commands is not understood.
    row("sh -c 'firefox \"$1\" || xdg-open \"$1\"' x %u", To::nobody);
    row("sh -c 'cd /; xdg-open \"$1\"' x %u", To::nobody);
    row("sh -c 'echo xdg-open' x %u", To::nobody);
    row("sh -c 'open quote\" x' %u", To::nobody);
    row("sh -c ''", To::nobody);
    row("sh -c", To::nobody);
    row("sh script xdg-open %u", To::nobody);
    row("env env env env env env env env env xdg-open %u", To::nobody);

    for (const char* const ours : {"/opt/vantorel/bin/vantorel %u", "router %u", "vantorel %u", "/else/vantorel %U",
                                   "env X=y router %u", "sh -c 'router \"$1\"' x %u",
                                   "gtk-launch com.qorbex.Vantorel %u", "gtk-launch com.qorbex.Vantorel.desktop %u",
                                   "gio launch /usr/share/applications/com.qorbex.Vantorel.desktop %u",
                                   "vantorel-open -b com.qorbex.Vantorel %u"})
        row(ours, To::us);
    row("vantorel-open -b firefox-esr %u", To::nobody);
    row("vantorel-nightly %u", To::nobody);
}

void TestLinkHandOn::entriesHandOn() {
    QFETCH(To, to);
    QCOMPARE(handOn().of(entryFor(QTest::currentDataTag())), to);
}

void TestLinkHandOn::ownID_isUsWhateverItExecutes() {
    QCOMPARE(handOn().of(entryFor("firefox %u", kBusName.toStdString())), To::us);
    QCOMPARE(handOn().of(entryFor("", kBusName.toStdString())), To::us);
    QCOMPARE(handOn().of(entryFor("firefox %u", kBusName.toStdString() + "2")), To::nobody);
}

void TestLinkHandOn::entryWithoutCommand_handsOnNothing() {
    QCOMPARE(handOn().of(entryFor("")), To::nobody);
}

void TestLinkHandOn::leadsBack_data() {
    QTest::addColumn<QByteArray>("exec");
    QTest::addColumn<QByteArray>("chosen"); // what the chosen entry executes; none where empty
    QTest::addColumn<QByteArray>("xfceCommand");
    QTest::addColumn<bool>("expected");
    const auto row = [](const char* exec, const char* chosen, const char* xfceCommand, bool expected) {
        QTest::addRow("%s, %s, %s", exec, chosen, xfceCommand)
            << QByteArray(exec) << QByteArray(chosen) << QByteArray(xfceCommand) << expected;
    };
    constexpr const char* kXfce = "exo-open --launch WebBrowser %u";
    row("firefox %u", "vantorel %U", "", false);
    row("xdg-open %u", "vantorel %U", "", true);
    row("xdg-open %u", "router %U", "", true);
    row("xdg-open %u", "firefox %u", "", false);
    row("xdg-open %u", "", "", false);
    row("xdg-open %u", "xdg-open %u", "", false);
    // What XFCE's settings name counts for what asks them.
    row("xdg-open %u", kXfce, kOwn, true);
    row("xdg-open %u", kXfce, "vantorel", true);
    row("xdg-open %u", kXfce, "firefox", false);
    row("xdg-open %u", kXfce, "", false);
    row("xdg-open %u", "firefox %u", kOwn, false);
    row(kXfce, "vantorel %U", "", true);
    row(kXfce, "firefox %u", kOwn, true);
    row(kXfce, "firefox %u", "env X=y vantorel", true);
    row(kXfce, "firefox %u", "firefox", false);
    row(kXfce, "", "", false);
    // Ourselves under another id are no way out, whatever is chosen.
    row("vantorel %u", "firefox %u", "", true);
}

void TestLinkHandOn::leadsBack() {
    QFETCH(QByteArray, exec);
    QFETCH(QByteArray, chosen);
    QFETCH(QByteArray, xfceCommand);
    QFETCH(bool, expected);
    LinkHandOn::Choice choice{.entry = std::nullopt, .xfceCommand = xfceCommand.toStdString()};
    if (!chosen.isEmpty())
        choice.entry = entryFor(chosen.toStdString());
    QCOMPARE(handOn().leadsBack(entryFor(exec.toStdString()), [&choice] { return choice; }), expected);
}

void TestLinkHandOn::choice_isAskedForOnlyByEntriesThatHandOn() {
    int asked = 0;
    const auto choice = [&asked] {
        ++asked;
        return LinkHandOn::Choice();
    };
    QVERIFY(!handOn().leadsBack(entryFor("firefox %u"), choice));
    QVERIFY(!handOn().leadsBack(entryFor("x-www-browser %u"), choice));
    QVERIFY(handOn().leadsBack(entryFor("vantorel %u"), choice));
    QCOMPARE(asked, 0);
    QVERIFY(!handOn().leadsBack(entryFor("xdg-open %u"), choice));
    QCOMPARE(asked, 1);
}

void TestLinkHandOn::programFile_followsLinks() {
    const QTemporaryDir folder;
    const auto path = [&folder](const char* name) {
        return QFile::encodeName(QDir(QFileInfo(folder.path()).canonicalFilePath()).filePath(name)).toStdString();
    };
    QFile program(QFile::decodeName(path("program").c_str()));
    QVERIFY(program.open(QIODevice::WriteOnly));
    QVERIFY(program.setPermissions(QFile::ReadOwner | QFile::ExeOwner));
    QCOMPARE(symlink("program", path("alternative").c_str()), 0);
    QCOMPARE(symlink(path("alternative").c_str(), path("name").c_str()), 0);
    qputenv("PATH", QFile::encodeName(folder.path()));
    QCOMPARE(LinkHandOn::programFile("name"), path("program"));
    QCOMPARE(LinkHandOn::programFile(path("name")), path("program"));
    QCOMPARE(LinkHandOn::programFile("missing"), std::string());
    QCOMPARE(LinkHandOn::programFile(path("missing")), std::string());
}

void TestLinkHandOn::ownProgram_liesBesideTheOneThatRuns() {
    const QFileInfo running(QCoreApplication::applicationFilePath());
    QCOMPARE(LinkHandOn::ownProgramFile(),
             QFile::encodeName(QFileInfo(running.canonicalFilePath()).dir().filePath("vantorel")).toStdString());
}

// GLib asks for the folders once per process.
void TestLinkHandOn::xfceBrowser_isWhatItsSettingsName() {
    const QTemporaryDir root;
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(root.filePath("config")));
    qputenv("XDG_DATA_HOME", QFile::encodeName(root.filePath("data")));
    qputenv("XDG_CONFIG_DIRS", QFile::encodeName(root.filePath("system-config")));
    qputenv("XDG_DATA_DIRS", QFile::encodeName(root.filePath("system-data")));
    qputenv("PATH", QFile::encodeName(root.filePath("bin")));
    const auto write = [&root](const char* name, const char* content) {
        const QString path = root.filePath(name);
        QDir().mkpath(QFileInfo(path).path());
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(content);
    };
    QCOMPARE(xfceBrowser(), std::string());
    write("config/xfce4/helpers.rc", "TerminalEmulator=x\nWebBrowser=custom-WebBrowser\n");
    QCOMPARE(xfceBrowser(), std::string());
    write("data/xfce4/helpers/custom-WebBrowser.desktop",
          "[Desktop Entry]\nX-XFCE-CommandsWithParameter=/own/vantorel \"%s\"\nX-XFCE-Commands=/own/vantorel\n");
    QCOMPARE(xfceBrowser(), std::string("/own/vantorel"));

    // One of XFCE's own descriptions, a browser's package's, and the user's in the place of that.
    write("config/xfce4/helpers.rc", "WebBrowser=own\n");
    QCOMPARE(xfceBrowser(), std::string());
    write("system-data/xfce4/helpers/own.desktop",
          "[Desktop Entry]\nX-XFCE-Binaries=not-there;own-program;\nX-XFCE-Commands=%B;%B --other;\n");
    QCOMPARE(xfceBrowser(), std::string());
    write("bin/own-program", "#!/bin/sh\n");
    QVERIFY(QFile::setPermissions(root.filePath("bin/own-program"), QFile::ReadOwner | QFile::ExeOwner));
    QCOMPARE(xfceBrowser(), root.filePath("bin/own-program").toStdString());
    write("data/xfce4/helpers/own.desktop", "[Desktop Entry]\nX-XFCE-Commands=other --flag\n");
    QCOMPARE(xfceBrowser(), std::string("other --flag"));

    // What the system has chosen counts for those who have not.
    write("system-config/xfce4/helpers.rc", "WebBrowser=custom-WebBrowser\n");
    QCOMPARE(xfceBrowser(), std::string("other --flag"));
    QVERIFY(QFile::remove(root.filePath("config/xfce4/helpers.rc")));
    QCOMPARE(xfceBrowser(), std::string("/own/vantorel"));
}

QTEST_GUILESS_MAIN(TestLinkHandOn)
#include "TestLinkHandOn.moc"
