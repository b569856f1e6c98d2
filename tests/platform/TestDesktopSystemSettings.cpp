#include "platform/freedesktop/DesktopSystemSettings.h"

#include "platform/freedesktop/DefaultBrowser.h"
#include "platform/freedesktop/DetachedProgram.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace vantorel;

class TestDesktopSystemSettings : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void isDefaultBrowser_isToldWhenItIsKnown();
    void pageThatStays_isThatWhichOpens();
    void pageThatEndsWell_hasOpened();
    void pageThatFails_isFollowedByTheNext();
    void allPagesFail_setsItDirectly();
    void noPage_setsItDirectly();
    void xfce_isToldInItsOwnWay();
    void xfceChoicesThatCannotBeRead_areLeftAlone();
    void notInstalled_setsNothing();
    void detachedProgram_hasASessionOfItsOwn_andNoneOfOurOutput();
    void detachedProgram_thatIsNotThere();
    void detachedProgram_leavesNoZombie();

private:
    static constexpr std::chrono::milliseconds kPatience{400};

    QString path(const QString& name) const { return m_root.filePath(name); }
    void write(const QString& name, const QByteArray& text, bool isProgram = false) const {
        QVERIFY(QDir().mkpath(QFileInfo(path(name)).path()));
        QFile file(path(name));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(text);
        file.close();
        if (isProgram)
            QVERIFY(file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    }
    QByteArray read(const QString& name) const {
        QFile file(path(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    // A settings program that writes down its call and then does something.
    void page(const QByteArray& name, const QByteArray& then) const {
        write("bin/" + name, "#!/bin/sh\necho " + name + " \"$*\" >> " + path("calls").toUtf8() + "\n" + then + "\n",
              true);
    }
    bool isDefault() const { return read("config/mimeapps.list").contains("x-scheme-handler/https=own.desktop"); }

    QTemporaryDir m_root;
};

void TestDesktopSystemSettings::initTestCase() {
    // Once for all tests, since GIO looks for its folders once.
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(path("config")));
    qputenv("XDG_DATA_HOME", QFile::encodeName(path("data")));
    qputenv("XDG_DATA_DIRS", QFile::encodeName(path("none")));
    qputenv("XDG_CONFIG_DIRS", QFile::encodeName(path("none")));
    qputenv("PATH", QFile::encodeName(path("bin")) + ":/usr/bin:/bin");
    // The same for all tests as well: GIO learns in its own time of what is installed and taken away.
    write("data/applications/own.desktop",
          "[Desktop Entry]\nType=Application\nName=Own\nExec=true %u\n"
          "MimeType=x-scheme-handler/http;x-scheme-handler/https;text/html;\n");
    write("data/applications/xfce4-web-browser.desktop",
          "[Desktop Entry]\nType=Application\nName=Stand-in\nExec=true %u\n"
          "MimeType=x-scheme-handler/http;x-scheme-handler/https;text/html;\n");
}

void TestDesktopSystemSettings::init() {
    for (const char* const folder : {"config", "data/xfce4", "bin"})
        QVERIFY(QDir(path(folder)).removeRecursively());
    QFile::remove(path("calls"));
    QVERIFY(QDir().mkpath(path("config")));
    write("config/mimeapps.list", "[Default Applications]\n");
    qputenv("XDG_CURRENT_DESKTOP", "KDE");
    // What the test before has chosen is known until GIO has noticed.
    QTRY_VERIFY(!DefaultBrowser::isApplication("own", "/own"));
    QTRY_VERIFY(!DefaultBrowser::isApplication("xfce4-web-browser", "/own"));
}

void TestDesktopSystemSettings::isDefaultBrowser_isToldWhenItIsKnown() {
    write("config/mimeapps.list",
          "[Default Applications]\nx-scheme-handler/http=own.desktop\n"
          "x-scheme-handler/https=own.desktop\n");
    DesktopSystemSettings settings("own", "/own", kPatience);
    QSignalSpy spy(&settings, &SystemSettings::defaultBrowserChanged);
    QVERIFY(!settings.isDefaultBrowser());
    const auto isTold = [&](int times) {
        settings.refresh(); // GIO learns of a change in its own time
        return spy.count() == times;
    };
    QTRY_VERIFY(isTold(1));
    QVERIFY(settings.isDefaultBrowser());
    // One of the two is not enough.
    write("config/mimeapps.list",
          "[Default Applications]\nx-scheme-handler/http=own.desktop\n"
          "x-scheme-handler/https=xfce4-web-browser.desktop\n");
    QTRY_VERIFY(isTold(2));
    QVERIFY(!settings.isDefaultBrowser());
}

void TestDesktopSystemSettings::pageThatStays_isThatWhichOpens() {
    page("xfce4-mime-settings", "exit 0");
    page("systemsettings5", "sleep 2");
    DesktopSystemSettings settings("own", "/own", kPatience);
    settings.openDefaultBrowserSettings();
    QTRY_COMPARE(read("calls"), "systemsettings5 kcm_componentchooser\n");
    QTest::qWait(static_cast<int>(kPatience.count()) * 2); // a second attempt would be made by now
    QCOMPARE(read("calls"), "systemsettings5 kcm_componentchooser\n");
    QVERIFY(!isDefault());
}

void TestDesktopSystemSettings::pageThatEndsWell_hasOpened() {
    page("systemsettings5", "exit 0");
    page("xfce4-mime-settings", "exit 0");
    DesktopSystemSettings settings("own", "/own", kPatience);
    settings.openDefaultBrowserSettings();
    QTRY_COMPARE(read("calls"), "systemsettings5 kcm_componentchooser\n");
    QTest::qWait(static_cast<int>(kPatience.count()) * 2);
    QCOMPARE(read("calls"), "systemsettings5 kcm_componentchooser\n");
    QVERIFY(!isDefault());
}

void TestDesktopSystemSettings::pageThatFails_isFollowedByTheNext() {
    page("gnome-control-center", "exit 1");
    page("systemsettings5", "kill -9 $$");
    page("cinnamon-settings", "exit 0");
    DesktopSystemSettings settings("own", "/own", kPatience);
    settings.openDefaultBrowserSettings();
    QTRY_COMPARE(read("calls"),
                 "systemsettings5 kcm_componentchooser\ngnome-control-center default-apps\n"
                 "cinnamon-settings default\n");
    QVERIFY(!isDefault());
}

void TestDesktopSystemSettings::allPagesFail_setsItDirectly() {
    page("gnome-control-center", "exit 1");
    write("bin/systemsettings5", "#!/no/such/interpreter\n", true);
    DesktopSystemSettings settings("own", "/own", kPatience);
    settings.openDefaultBrowserSettings();
    QTRY_VERIFY(isDefault());
    QCOMPARE(read("calls"), "gnome-control-center default-apps\n");
}

void TestDesktopSystemSettings::noPage_setsItDirectly() {
    DesktopSystemSettings settings("own", "/own", kPatience);
    QSignalSpy spy(&settings, &SystemSettings::defaultBrowserChanged);
    settings.openDefaultBrowserSettings();
    QTRY_VERIFY(settings.isDefaultBrowser());
    const QByteArray list = read("config/mimeapps.list");
    for (const char* const type : {"x-scheme-handler/http", "x-scheme-handler/https", "text/html"})
        QVERIFY2(list.contains(QByteArray(type) + "=own.desktop"), list.constData());
}

void TestDesktopSystemSettings::xfce_isToldInItsOwnWay() {
    qputenv("XDG_CURRENT_DESKTOP", "XFCE");
    write("config/xfce4/helpers.rc", "TerminalEmulator=xterm\nWebBrowser=firefox\n");
    DesktopSystemSettings settings("own", "/opt/own", kPatience);
    settings.openDefaultBrowserSettings();
    QTRY_VERIFY(settings.isDefaultBrowser());
    QCOMPARE(read("config/xfce4/helpers.rc"), "TerminalEmulator=xterm\nWebBrowser=custom-WebBrowser\n");
    const QByteArray helper = read("data/xfce4/helpers/custom-WebBrowser.desktop");
    QVERIFY2(helper.contains("\nX-XFCE-CommandsWithParameter=/opt/own \"%s\"\n"), helper.constData());
    QVERIFY(read("config/mimeapps.list").contains("x-scheme-handler/https=xfce4-web-browser.desktop"));
    // Another browser that is chosen in the same way is not this program.
    write("data/xfce4/helpers/custom-WebBrowser.desktop", "[Desktop Entry]\nX-XFCE-Commands=/opt/other\n");
    settings.refresh();
    QTRY_VERIFY(!settings.isDefaultBrowser());
    // This one is, when it is chosen in XFCE's own list.
    write("bin/own-program", "#!/bin/sh\n", true);
    write("data/xfce4/helpers/own.desktop", "[Desktop Entry]\nX-XFCE-Binaries=own-program;\nX-XFCE-Commands=%B;\n");
    write("config/xfce4/helpers.rc", "WebBrowser=own\n");
    DesktopSystemSettings listed("own", QFile::encodeName(path("bin/own-program")), kPatience);
    QTRY_VERIFY(listed.isDefaultBrowser());
    settings.refresh();
    QTest::qWait(static_cast<int>(kPatience.count()));
    QVERIFY(!settings.isDefaultBrowser());
}

void TestDesktopSystemSettings::xfceChoicesThatCannotBeRead_areLeftAlone() {
    // Nobody can open a socket as a file, not even root.
    QVERIFY(QDir().mkpath(path("config/xfce4")));
    const QByteArray choices = QFile::encodeName(path("config/xfce4/helpers.rc"));
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    QVERIFY(choices.size() < qsizetype(sizeof address.sun_path));
    memcpy(address.sun_path, choices.constData(), choices.size());
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    QCOMPARE(bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    close(fd);
    QVERIFY(!DefaultBrowser::setApplication("own", "/opt/own", "XFCE"));
    struct stat status { };
    QVERIFY(lstat(choices.constData(), &status) == 0 && S_ISSOCK(status.st_mode));
}

void TestDesktopSystemSettings::notInstalled_setsNothing() {
    const QByteArray before = read("config/mimeapps.list");
    DesktopSystemSettings settings("missing", "/own", kPatience);
    settings.openDefaultBrowserSettings();
    QCOMPARE(read("config/mimeapps.list"), before);
    QVERIFY(!settings.isDefaultBrowser());
}

void TestDesktopSystemSettings::detachedProgram_hasASessionOfItsOwn_andNoneOfOurOutput() {
    qputenv("XDG_ACTIVATION_TOKEN", "used");
    std::optional<bool> isWell;
    const QByteArray file = path("seen").toUtf8();
    startDetached(this,
                  {"sh", "-c",
                   "{ cut -d' ' -f6 /proc/$$/stat; echo $$; readlink /proc/$$/fd/0 /proc/$$/fd/1 /proc/$$/fd/2; "
                   "echo \"[$XDG_ACTIVATION_TOKEN]\"; } > "
                       + file},
                  kPatience * 20, [&isWell](bool is) { isWell = is; });
    QTRY_VERIFY(isWell.has_value());
    QVERIFY(*isWell);
    const QByteArrayList lines = read("seen").trimmed().split('\n');
    QCOMPARE(lines.size(), 6);
    QCOMPARE(lines[0], lines[1]);
    QCOMPARE(lines[2], "/dev/null");
    QCOMPARE(lines[4], "/dev/null");
    QCOMPARE(lines[5], "[]");
    qunsetenv("XDG_ACTIVATION_TOKEN");
}

void TestDesktopSystemSettings::detachedProgram_thatIsNotThere() {
    std::optional<bool> isWell;
    startDetached(this, {"no-such-program"}, kPatience, [&isWell](bool is) { isWell = is; });
    QVERIFY(!isWell);
    QTRY_COMPARE(isWell, std::optional(false));
}

void TestDesktopSystemSettings::detachedProgram_leavesNoZombie() {
    int answers = 0;
    {
        QObject context;
        for (int i = 0; i < 5; ++i)
            startDetached(&context, {"sh", "-c", "sleep 0.3; exit 1"}, std::chrono::milliseconds(1),
                          [&answers](bool isWell) { answers += isWell; });
        QTRY_COMPARE(answers, 5);
    }
    // Nobody waits for them any more, and still they are buried.
    const auto areGone = [] { return waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD; };
    QTRY_VERIFY(areGone());
    QCOMPARE(answers, 5);
}

QTEST_GUILESS_MAIN(TestDesktopSystemSettings)
#include "TestDesktopSystemSettings.moc"
