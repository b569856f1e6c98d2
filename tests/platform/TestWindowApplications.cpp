#include "platform/freedesktop/WindowApplications.h"

#include "platform/freedesktop/DesktopEntry.h"
#include "platform/freedesktop/InstalledIndex.h"

#include <QTest>

using namespace vantorel;

class TestWindowApplications : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void programName_data();
    void programName();
    void programName_behindAnyNumberOfWrappers();
    void popularApplications_data();
    void popularApplications();
    void idGivenOutright_countsWhenInstalled();
    void idGivenOutright_mayBeAFile();
    void order_ofClassMatches();
    void startupWMClass_exactComesBeforeOtherCase();
    void instance_comesBeforeClass_forStartupWMClassOnly();
    void instanceThatIsAnInterpreter_tellsNothing();
    void shownEntries_comeBeforeOthers();
    void entryNamedForTheKey_comesBeforeOthers();
    void emptyIdentity_matchesNothing();
    void sureHints_comeFirst();
    void index_isAskedForAtEachLookUp();
};

namespace {

QStringList argumentsOf(const char* exec) {
    QStringList arguments;
    for (const std::string& argument : splitExec(exec).value_or(std::vector<std::string>()))
        arguments.append(QString::fromStdString(argument));
    return arguments;
}

WindowEntry entry(const char* id, const char* startupWMClass = "", const char* exec = "", bool noDisplay = false) {
    return {.id = id, .startupWMClass = startupWMClass, .command = argumentsOf(exec), .noDisplay = noDisplay};
}

std::shared_ptr<const InstalledIndex> indexOf(std::initializer_list<const char*> ids) {
    std::vector<DesktopEntry> entries;
    for (const char* const id : ids)
        entries.emplace_back().id = id;
    return std::make_shared<InstalledIndex>(entries);
}

QString ofClass(const std::vector<WindowEntry>& entries, const char* instance, const char* className) {
    const WindowIdentity window{
        .gtkApplicationID = {}, .kdeDesktopFile = {}, .instance = instance, .className = className, .process = {}};
    return WindowIndex(entries).ofClass(window).value_or("(none)");
}

// One application as distributions, flatpak or snap install it, and WM_CLASS of its main window.
struct Application {
    const char* id;
    const char* startupWMClass;
    const char* exec;
    const char* instance;
    const char* className;
    bool noDisplay = false;
};

const Application kApplications[] = {
    // Terminals
    {"debian-xterm", "XTerm", "xterm", "xterm", "XTerm"},
    {"debian-uxterm", "UXTerm", "uxterm", "xterm", "UXTerm"},
    {"org.gnome.Terminal", "", "gnome-terminal", "gnome-terminal-server", "Gnome-terminal"},
    {"org.kde.konsole", "", "konsole", "konsole", "konsole"},
    {"xfce4-terminal", "", "xfce4-terminal", "xfce4-terminal", "Xfce4-terminal"},
    {"mate-terminal", "", "mate-terminal", "mate-terminal", "Mate-terminal"},
    {"Alacritty", "Alacritty", "alacritty", "Alacritty", "Alacritty"},
    {"kitty", "", "kitty", "kitty", "kitty"},
    {"rxvt-unicode", "URxvt", "urxvt", "urxvt", "URxvt"},
    {"tilix", "", "tilix", "tilix", "Tilix"},
    {"terminator", "", "terminator", "terminator", "Terminator"},
    // Mail
    {"thunderbird", "thunderbird", "/usr/lib/thunderbird/thunderbird %u", "Mail", "thunderbird"},
    {"org.gnome.Evolution", "", "evolution %U", "evolution", "Evolution"},
    {"claws-mail", "Claws-mail", "claws-mail %u", "claws-mail", "Claws-mail"},
    {"org.gnome.Geary", "", "geary %U", "geary", "Geary"},
    {"org.kde.kmail2", "", "kmail -qwindowtitle %c %u", "kmail", "kmail"},
    // Browsers
    {"firefox-esr", "Firefox-esr", "/usr/lib/firefox-esr/firefox-esr %u", "Navigator", "firefox-esr"},
    {"firefox_firefox", "",
     "env BAMF_DESKTOP_FILE_HINT=/var/lib/snapd/desktop/applications/firefox_firefox.desktop "
     "/snap/bin/firefox %u",
     "Navigator", "firefox"},
    {"chromium", "", "/usr/bin/chromium %U", "chromium", "Chromium"},
    {"google-chrome", "", "/usr/bin/google-chrome-stable %U", "google-chrome", "Google-chrome"},
    {"dillo", "", "dillo %F", "dillo", "Dillo"},
    {"netsurf-gtk", "NetSurf-bin", "netsurf-gtk %u", "netsurf-gtk3", "NetSurf-bin"},
    {"org.kde.falkon", "", "falkon %u", "falkon", "falkon"},
    {"chrome-hnpfjngllnobngcgfapefoaidbinmjnm-Default", "crx_hnpfjngllnobngcgfapefoaidbinmjnm",
     "/opt/google/chrome/google-chrome --profile-directory=Default --app-id=hnpfjngllnobngcgfapefoaidbinmjnm",
     "crx_hnpfjngllnobngcgfapefoaidbinmjnm", "Google-chrome"},
    // Chat and calls
    {"slack", "Slack", "/usr/bin/slack %U", "slack", "Slack"},
    {"discord", "discord", "/usr/share/discord/Discord", "discord", "discord"},
    {"signal-desktop", "Signal", "/opt/Signal/signal-desktop --no-sandbox %U", "signal", "Signal"},
    {"element-desktop", "Element", "/opt/Element/element-desktop %U", "element", "Element"},
    {"org.telegram.desktop", "TelegramDesktop",
     "/usr/bin/flatpak run --branch=stable --arch=x86_64 --command=telegram-desktop --file-forwarding "
     "org.telegram.desktop -- @@u %u @@",
     "telegram-desktop", "TelegramDesktop"},
    {"org.pidgin", "", "pidgin", "Pidgin", "Pidgin"},
    {"io.github.Hexchat", "Hexchat", "hexchat --existing %U", "hexchat", "Hexchat"},
    {"Zoom", "zoom", "/usr/bin/zoom %U", "zoom", "zoom"},
    // Office
    {"libreoffice-writer", "libreoffice-writer", "libreoffice --writer %U", "libreoffice", "libreoffice-writer"},
    {"libreoffice-calc", "libreoffice-calc", "libreoffice --calc %U", "libreoffice", "libreoffice-calc"},
    {"libreoffice-startcenter", "libreoffice-startcenter", "libreoffice %U", "libreoffice", "libreoffice-startcenter"},
    {"org.gnome.Evince", "", "evince %U", "evince", "Evince"},
    {"org.kde.okular", "", "okular %U", "okular", "okular"},
    {"obsidian_obsidian", "obsidian",
     "env BAMF_DESKTOP_FILE_HINT=/var/lib/snapd/desktop/applications/obsidian_obsidian.desktop /snap/bin/obsidian %U",
     "obsidian", "obsidian"},
    // Editors
    {"code", "Code", "/usr/share/code/code %F", "code", "Code"},
    {"code-url-handler", "Code", "/usr/share/code/code --open-url %U", "code", "Code", true},
    {"emacs", "Emacs", "/usr/bin/emacs %F", "emacs", "Emacs"},
    {"gvim", "", "gvim -f %F", "gvim", "Gvim"},
    {"org.gnome.gedit", "", "gedit %U", "gedit", "Gedit"},
    {"org.kde.kate", "", "kate -b %U", "kate", "kate"},
    {"org.xfce.mousepad", "", "mousepad %U", "mousepad", "Mousepad"},
    {"geany", "", "geany %F", "geany", "Geany"},
    {"jetbrains-idea", "jetbrains-idea", "\"/opt/idea/bin/idea.sh\" %f", "jetbrains-idea", "jetbrains-idea"},
    {"arduino-arduinoide", "processing-app-Base", "/opt/arduino/arduino", "sun-awt-X11-XFramePeer",
     "processing-app-Base"},
    // Files, pictures, sound, games
    {"org.gnome.Nautilus", "", "nautilus --new-window %U", "org.gnome.Nautilus", "Org.gnome.Nautilus"},
    {"thunar", "", "thunar %U", "thunar", "Thunar"},
    {"pcmanfm", "", "pcmanfm %U", "pcmanfm", "Pcmanfm"},
    {"org.kde.dolphin", "", "dolphin %u", "dolphin", "dolphin"},
    {"gimp", "", "gimp-2.10 %U", "gimp-2.10", "Gimp-2.10"},
    {"org.inkscape.Inkscape", "", "inkscape %F", "org.inkscape.Inkscape", "Org.inkscape.Inkscape"},
    {"spotify_spotify", "spotify",
     "env BAMF_DESKTOP_FILE_HINT=/var/lib/snapd/desktop/applications/spotify_spotify.desktop /snap/bin/spotify %U",
     "spotify", "Spotify"},
    {"vlc", "", "/usr/bin/vlc --started-from-file %U", "vlc", "vlc"},
    {"steam", "", "/usr/games/steam %U", "steamwebhelper", "steam"},
    {"org.keepassxc.KeePassXC", "keepassxc", "keepassxc %f", "keepassxc", "KeePassXC"},
    {"hplip", "", "/usr/bin/python3 /usr/share/hplip/hp-toolbox", "hp-toolbox", "hp-toolbox"},
};

std::vector<WindowEntry> popularEntries() {
    std::vector<WindowEntry> entries;
    for (const Application& application : kApplications)
        entries.push_back(entry(application.id, application.startupWMClass, application.exec, application.noDisplay));
    return entries;
}

} // namespace

void TestWindowApplications::programName_data() {
    QTest::addColumn<QString>("name");
    const auto row = [](const char* exec, const char* name) { QTest::newRow(exec) << QString(name); };
    row("xterm", "xterm");
    row("/opt/My\\ Apps/tool %U", "tool");
    row("env A=1 B=2 /snap/bin/mail %u", "mail");
    row("/usr/bin/flatpak run --branch=stable --command=/app/bin/mail org.example.Mail @@u %u @@", "mail");
    row("flatpak run org.example.Mail", "org.example.Mail");
    row("snap run mail", "mail");
    row("python3 -u /usr/share/tool/tool.py %f", "tool.py");
    row("/usr/bin/python3.11 /usr/bin/tool", "tool");
    row("sh -c \"tool %u\"", "");
    row("java -jar /opt/tool.jar", "");
    row("env", "");
    row("env env A=1 env -i mail", "mail");
    row("env sh -c mail", "");
    row("", "");
}

void TestWindowApplications::programName() {
    QTEST(programNameOf(argumentsOf(QTest::currentDataTag())), "name");
}

// Memory by the square of their number would be the end of the program.
void TestWindowApplications::programName_behindAnyNumberOfWrappers() {
    QCOMPARE(programNameOf(QStringList(100'000, "env") << "mail"), QString("mail"));
}

void TestWindowApplications::popularApplications_data() {
    QTest::addColumn<QString>("instance");
    QTest::addColumn<QString>("className");
    for (const Application& application : kApplications) {
        if (!application.noDisplay)
            QTest::newRow(application.id) << QString(application.instance) << QString(application.className);
    }
}

// All of them are installed at once: none takes the windows of another.
void TestWindowApplications::popularApplications() {
    QFETCH(QString, instance);
    QFETCH(QString, className);
    static const WindowIndex index(popularEntries());
    const auto found = index.ofClass(
        {.gtkApplicationID = {}, .kdeDesktopFile = {}, .instance = instance, .className = className, .process = {}});
    QCOMPARE(found.value_or("(none)"), QString(QTest::currentDataTag()));
}

void TestWindowApplications::idGivenOutright_countsWhenInstalled() {
    const WindowIndex index({entry("org.gtk.App"), entry("org.kde.app")});
    WindowIdentity window{.gtkApplicationID = "org.gtk.App",
                          .kdeDesktopFile = "org.kde.app",
                          .instance = {},
                          .className = {},
                          .process = {}};
    QCOMPARE(index.named(window), std::optional<QString>("org.gtk.App"));
    window.gtkApplicationID = "org.gtk.Other";
    QCOMPARE(index.named(window), std::optional<QString>("org.kde.app"));
    window.kdeDesktopFile = "ORG.KDE.APP";
    QCOMPARE(index.named(window), std::optional<QString>());
}

void TestWindowApplications::idGivenOutright_mayBeAFile() {
    const WindowIndex index({entry("org.kde.app")});
    for (const char* const text : {"org.kde.app.desktop", "/usr/share/applications/org.kde.app.desktop"}) {
        const WindowIdentity window{
            .gtkApplicationID = {}, .kdeDesktopFile = text, .instance = {}, .className = {}, .process = {}};
        QCOMPARE(index.named(window), std::optional<QString>("org.kde.app"));
    }
}

// Each entry fits the class in a way of its own; without the best one the next best is found.
void TestWindowApplications::order_ofClassMatches() {
    std::vector<WindowEntry> entries = {
        entry("a", "Mail"), // StartupWMClass
        entry("b", "MAIL"), // in other case
        entry("Mail"), // the id
        entry("mail"), // in lower case
        entry("MAIL"), // in any case
        entry("org.example.mAil"), // its last part
        entry("c", "", "/usr/bin/mail"), // the program
    };
    for (const char* const id : {"a", "b", "Mail", "mail", "MAIL", "org.example.mAil", "c", "(none)"}) {
        QCOMPARE(ofClass(entries, "", "Mail"), QString(id));
        if (!entries.empty())
            entries.erase(entries.begin());
    }
}

void TestWindowApplications::startupWMClass_exactComesBeforeOtherCase() {
    QCOMPARE(ofClass({entry("lower", "mail"), entry("upper", "MAIL")}, "", "MAIL"), QString("upper"));
    QCOMPARE(ofClass({entry("lower", "mail"), entry("upper", "MAIL")}, "", "mail"), QString("lower"));
}

void TestWindowApplications::instance_comesBeforeClass_forStartupWMClassOnly() {
    const std::vector<WindowEntry> classes = {entry("site", "crx_site"), entry("browser", "Browser")};
    QCOMPARE(ofClass(classes, "crx_site", "Browser"), QString("site"));
    QCOMPARE(ofClass({entry("one"), entry("two")}, "one", "two"), QString("two"));
    QCOMPARE(ofClass({entry("one"), entry("two")}, "one", "three"), QString("one"));
}

void TestWindowApplications::instanceThatIsAnInterpreter_tellsNothing() {
    const std::vector<WindowEntry> entries = {entry("python3.11"), entry("org.example.Talk")};
    QCOMPARE(ofClass(entries, "python3.11", "talk"), QString("org.example.Talk"));
    QCOMPARE(ofClass(entries, "python3.11", "other"), QString("(none)"));
}

void TestWindowApplications::shownEntries_comeBeforeOthers() {
    const WindowEntry hidden = entry("app", "App", "", true);
    const WindowEntry shown = entry("app-with-a-long-id", "App");
    QCOMPARE(ofClass({hidden, shown}, "", "App"), QString("app-with-a-long-id"));
    QCOMPARE(ofClass({shown, hidden}, "", "App"), QString("app-with-a-long-id"));
    QCOMPARE(ofClass({hidden}, "", "App"), QString("app"));
}

void TestWindowApplications::entryNamedForTheKey_comesBeforeOthers() {
    const WindowEntry plain = entry("editor-suite", "Editor-suite");
    const WindowEntry task = entry("x", "Editor-suite");
    QCOMPARE(ofClass({task, plain}, "", "Editor-suite"), QString("editor-suite"));
    QCOMPARE(ofClass({entry("editor-new-file", "E"), entry("editor", "E")}, "", "E"), QString("editor"));
}

void TestWindowApplications::emptyIdentity_matchesNothing() {
    QCOMPARE(ofClass({entry("a"), entry("b.", "", "sh")}, "", ""), QString("(none)"));
    QVERIFY(!WindowIndex({entry("a")}).named({}));
    QCOMPARE(ofClass({}, "a", "a"), QString("(none)"));
}

void TestWindowApplications::sureHints_comeFirst() {
    using Relation = ProcessApplication::Relation;
    const auto index = indexOf({"named", "classed"});
    std::vector<pid_t> asked;
    const WindowApplications applications(
        [index] { return index; },
        [&asked](pid_t process) -> std::optional<ProcessApplication> {
            asked.push_back(process);
            if (process == 8)
                return std::nullopt;
            return ProcessApplication{"of process", process == 7 ? Relation::own : Relation::ancestors};
        });
    WindowIdentity window{
        .gtkApplicationID = "named", .kdeDesktopFile = {}, .instance = {}, .className = "classed", .process = 7};
    QCOMPARE(applications.applicationOf(window), std::optional<QString>("named"));
    QVERIFY(asked.empty());
    window.gtkApplicationID = "not installed";
    QCOMPARE(applications.applicationOf(window), std::optional<QString>("of process"));
    window.process = 8;
    QCOMPARE(applications.applicationOf(window), std::optional<QString>("classed"));
    // Whatever started it is less than what the window says of itself, and more than nothing.
    window.process = 9;
    QCOMPARE(applications.applicationOf(window), std::optional<QString>("classed"));
    window.className = "not installed";
    QCOMPARE(applications.applicationOf(window), std::optional<QString>("of process"));
    window.process.reset();
    QCOMPARE(applications.applicationOf(window), std::optional<QString>());
    QCOMPARE(asked, (std::vector<pid_t>{7, 8, 9, 9}));
}

void TestWindowApplications::index_isAskedForAtEachLookUp() {
    auto index = indexOf({"a"});
    const WindowApplications applications([&index] { return index; }, [](pid_t) { return std::nullopt; });
    const WindowIdentity window{
        .gtkApplicationID = "b", .kdeDesktopFile = {}, .instance = {}, .className = {}, .process = {}};
    QCOMPARE(applications.applicationOf(window), std::optional<QString>());
    index = indexOf({"a", "b"});
    QCOMPARE(applications.applicationOf(window), std::optional<QString>("b"));
}

QTEST_GUILESS_MAIN(TestWindowApplications)
#include "TestWindowApplications.moc"
