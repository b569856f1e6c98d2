#include "platform/freedesktop/ApplicationSnapshot.h"

#include "discovery/BrowserDetector.h"
#include "discovery/InstalledAppDetector.h"
#include "discovery/KnownBrowsers.h"

#include <QDir>
#include <QFile>
#include <QMap>
#include <QTemporaryDir>
#include <QTest>

#include <sys/inotify.h>
#include <unistd.h>

using namespace vantorel;

namespace {

constexpr auto kOwn = "com.qorbex.Vantorel";

template <typename Entries> QStringList idsOf(const Entries& entries) {
    QStringList ids;
    for (const auto& entry : entries)
        ids.append(entry.id);
    return ids;
}

/// Counts how often the files of some folders are opened.
class OpenCounter {
public:
    ~OpenCounter() { close(m_fd); }

    void watch(const QString& folder) {
        m_folders[inotify_add_watch(m_fd, QFile::encodeName(folder).constData(), IN_OPEN)] = folder;
    }

    QMap<QString, int> opened() {
        QMap<QString, int> counts;
        alignas(inotify_event) char buffer[1 << 16];
        for (ssize_t size = 0; (size = read(m_fd, buffer, sizeof buffer)) > 0;) {
            for (ssize_t at = 0; at < size;) {
                const auto* const event = reinterpret_cast<const inotify_event*>(buffer + at);
                if (event->len > 0 && QByteArray(event->name).endsWith(".desktop"))
                    ++counts[m_folders[event->wd] + '/' + QFile::decodeName(event->name)];
                at += static_cast<ssize_t>(sizeof(inotify_event)) + event->len;
            }
        }
        return counts;
    }

private:
    int m_fd = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    QMap<int, QString> m_folders;
};

} // namespace

/// Desktop entries in private folders. GIO looks for the folders once per process, so all tests share them.
class TestApplicationSnapshot : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void browsers_areWhatOpensHttps();
    void browsers_associationsOfTheUserCount();
    void browsers_knownOnesNeedNoAssociation();
    void browsers_thatCannotBeStarted_doNotExist();
    void browsers_thatHandOnToUs_areNotOffered();
    void browsers_thatAreUsUnderAnotherId_areNotOffered();
    void apps_ofAllFolders();
    void apps_vendorFolderIsPartOfTheId();
    void apps_hiddenOne_masksThatOfLaterFolders();
    void apps_thatMenusLeaveOut_areNotOffered_butMask();
    void apps_thatCannotBeStarted_doNotExist();
    void names_areLocalised();
    void nameless_isNamedByItsId_orFile();
    void eachFile_isReadOnceInAScan();
    void oddFiles_doNoHarm();
    void knownIDs_keepTheOrderOfTheTable();

private:
    void entry(const QString& file, const QByteArray& keys) const;
    void cache(const QByteArray& lines) const;
    static QList<BrowserInfo> browsers() {
        const auto snapshot = std::make_shared<ApplicationSnapshot>(ApplicationSnapshot::Content::everything);
        return BrowserDetector::detect({snapshot, snapshot}, knownBrowserIDs(), kOwn);
    }
    static QList<AppInfo> apps() {
        const auto snapshot = std::make_shared<ApplicationSnapshot>(ApplicationSnapshot::Content::shownInMenus);
        return InstalledAppDetector::scan({snapshot, snapshot}, kOwn);
    }
    QString path(const QString& name) const { return m_root.filePath(name); }

    QTemporaryDir m_root;
};

void TestApplicationSnapshot::initTestCase() {
    qputenv("XDG_DATA_HOME", QFile::encodeName(path("user")));
    qputenv("XDG_DATA_DIRS", QFile::encodeName(path("local") + ':' + path("system")));
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(path("config")));
    qputenv("XDG_CONFIG_DIRS", QFile::encodeName(path("etc")));
    qputenv("PATH", "/usr/bin:/bin");
    qputenv("LANGUAGE", "de");
    for (const char* const folder : {"user", "local", "system"})
        QVERIFY(QDir().mkpath(path(QString(folder) + "/applications")));
    QVERIFY(QDir().mkpath(path("config")));
}

void TestApplicationSnapshot::init() {
    for (const char* const folder : {"user", "local", "system"}) {
        QDir directory(path(QString(folder) + "/applications"));
        for (const QFileInfo& info :
             directory.entryInfoList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System))
            info.isDir() && !info.isSymLink() ? QDir(info.filePath()).removeRecursively()
                                              : QFile::remove(info.filePath());
    }
    QFile::remove(path("config/mimeapps.list"));
    qunsetenv("XDG_CURRENT_DESKTOP");
    QTest::qWait(20); // GIO learns in a thread of its own that its folders have changed
}

void TestApplicationSnapshot::entry(const QString& file, const QByteArray& keys) const {
    const QString full = path(file + ".desktop");
    QVERIFY(QDir().mkpath(QFileInfo(full).path()));
    QFile out(full);
    QVERIFY(out.open(QIODevice::WriteOnly));
    out.write("[Desktop Entry]\nType=Application\n" + (keys.contains("Exec=") ? QByteArray() : "Exec=true %u\n")
              + keys);
}

void TestApplicationSnapshot::cache(const QByteArray& lines) const {
    QFile out(path("system/applications/mimeinfo.cache"));
    QVERIFY(out.open(QIODevice::WriteOnly));
    out.write("[MIME Cache]\n" + lines);
    out.close();
    QTest::qWait(20);
}

void TestApplicationSnapshot::browsers_areWhatOpensHttps() {
    entry("system/applications/b", "Name=Beta\nIcon=beta\nMimeType=x-scheme-handler/https;\n");
    entry("system/applications/a", "Name=alpha\nNoDisplay=true\nMimeType=x-scheme-handler/https;\n");
    entry("system/applications/com.qorbex.Vantorel", "Name=Own\nMimeType=x-scheme-handler/https;\n");
    entry("system/applications/mail", "Name=Mail\nMimeType=x-scheme-handler/mailto;\n");
    cache("x-scheme-handler/https=b.desktop;a.desktop;com.qorbex.Vantorel.desktop;gone.desktop;\n"
          "x-scheme-handler/mailto=mail.desktop;\n");
    const auto found = browsers();
    QCOMPARE(idsOf(found), (QStringList{"a", "b"}));
    QCOMPARE(found[1].name, QString("Beta"));
    QCOMPARE(found[1].icon, QString("beta"));
    QCOMPARE(found[1].appURL, QUrl::fromLocalFile(path("system/applications/b.desktop")));
}

void TestApplicationSnapshot::browsers_associationsOfTheUserCount() {
    entry("system/applications/a", "Name=Same\n");
    entry("system/applications/b", "Name=Same\n");
    entry("user/applications/c", "Name=Same\n");
    QFile list(path("config/mimeapps.list"));
    QVERIFY(list.open(QIODevice::WriteOnly));
    list.write("[Added Associations]\nx-scheme-handler/https=c.desktop;\n[Removed Associations]\n"
               "x-scheme-handler/https=a.desktop;\n");
    list.close();
    cache("x-scheme-handler/https=a.desktop;b.desktop;\n");
    QTRY_COMPARE(idsOf(browsers()), (QStringList{"c", "b"}));
}

void TestApplicationSnapshot::browsers_knownOnesNeedNoAssociation() {
    entry("system/applications/firefox-esr", "Name=Firefox ESR\n");
    entry("user/applications/com.google.Chrome", "Name=Chrome\n");
    cache("");
    QCOMPARE(idsOf(browsers()), (QStringList{"com.google.Chrome", "firefox-esr"}));
}

void TestApplicationSnapshot::browsers_thatCannotBeStarted_doNotExist() {
    entry("system/applications/hidden", "Name=x\nHidden=true\n");
    entry("system/applications/absent", "Name=x\nExec=no-such-program\n");
    entry("system/applications/tried", "Name=x\nTryExec=no-such-program\n");
    entry("system/applications/firefox", "Name=x\nExec=no-such-program\n");
    cache("x-scheme-handler/https=hidden.desktop;absent.desktop;tried.desktop;firefox.desktop;\n");
    QCOMPARE(idsOf(browsers()), QStringList());
}

void TestApplicationSnapshot::browsers_thatHandOnToUs_areNotOffered() {
    entry("system/applications/com.qorbex.Vantorel", "Name=Own\n");
    entry("system/applications/web", "Name=Web\n");
    entry("system/applications/gio", "Name=Gio\nExec=env X=y gio open %u\n");
    entry("system/applications/xdg", "Name=Xdg\nExec=sh -c 'xdg-open \"$@\"' x %u\n");
    const auto choose = [this](const char* id) {
        QFile list(path("config/mimeapps.list"));
        QVERIFY(list.open(QIODevice::WriteOnly));
        list.write(QByteArray("[Default Applications]\nx-scheme-handler/https=") + id + ".desktop\n");
    };
    choose("com.qorbex.Vantorel");
    cache("x-scheme-handler/https=com.qorbex.Vantorel.desktop;web.desktop;gio.desktop;xdg.desktop;\n");
    QTRY_COMPARE(idsOf(browsers()), QStringList{"web"});
    choose("web");
    QTRY_COMPARE(idsOf(browsers()), (QStringList{"gio", "web", "xdg"}));
}

void TestApplicationSnapshot::browsers_thatAreUsUnderAnotherId_areNotOffered() {
    const QString alias = path("alias");
    QFile program(path("copies/vantorel"));
    QVERIFY(QDir().mkpath(path("copies")));
    QVERIFY(program.open(QIODevice::WriteOnly));
    QVERIFY(program.setPermissions(QFile::ReadOwner | QFile::ExeOwner));
    QVERIFY(QFile::link(program.fileName(), alias));
    entry("system/applications/copy", "Name=Copy\nExec=" + QFile::encodeName(program.fileName()) + " %U\n");
    entry("system/applications/alias", "Name=Alias\nExec=" + QFile::encodeName(alias) + " %U\n");
    entry("system/applications/web", "Name=Web\n");
    cache("x-scheme-handler/https=copy.desktop;alias.desktop;web.desktop;\n");
    QCOMPARE(idsOf(browsers()), QStringList{"web"});
}

void TestApplicationSnapshot::apps_ofAllFolders() {
    entry("system/applications/a", "Name=System\n");
    entry("local/applications/a", "Name=Local\nIcon=/usr/share/icon.png\n");
    entry("system/applications/b", "Name=Other\n");
    entry("user/applications/c", "Name=User\n");
    entry("user/applications/com.qorbex.Vantorel", "Name=Own\n");
    const auto found = apps();
    QCOMPARE(idsOf(found), (QStringList{"a", "b", "c"}));
    QCOMPARE(found[0].name, QString("Local"));
    QCOMPARE(found[0].icon, QString("/usr/share/icon.png"));
    QCOMPARE(found[0].appURL, QUrl::fromLocalFile(path("local/applications/a.desktop")));
}

void TestApplicationSnapshot::apps_vendorFolderIsPartOfTheId() {
    entry("system/applications/vendor/tool", "Name=Tool\n");
    entry("system/applications/vendor/suite/deep", "Name=Deep\n");
    QCOMPARE(idsOf(apps()), QStringList{"vendor-tool"});
}

void TestApplicationSnapshot::apps_hiddenOne_masksThatOfLaterFolders() {
    entry("system/applications/a", "Name=A\n");
    entry("user/applications/a", "Hidden=true\n");
    entry("system/applications/vendor/b", "Name=B\n");
    entry("user/applications/vendor-b", "Hidden=true\n");
    QCOMPARE(idsOf(apps()), QStringList());
}

void TestApplicationSnapshot::apps_thatMenusLeaveOut_areNotOffered_butMask() {
    qputenv("XDG_CURRENT_DESKTOP", "ubuntu:GNOME");
    entry("system/applications/a", "Name=A\nNoDisplay=true\n");
    entry("system/applications/b", "Name=B\nOnlyShowIn=KDE;\n");
    entry("system/applications/c", "Name=C\nOnlyShowIn=KDE;GNOME;\n");
    entry("system/applications/d", "Name=D\nNotShowIn=GNOME;\n");
    entry("system/applications/e", "Name=E\nNotShowIn=KDE;\n");
    entry("system/applications/f", "Name=F\n");
    entry("user/applications/f", "Name=F\nNoDisplay=true\n");
    QCOMPARE(idsOf(apps()), (QStringList{"c", "e"}));
    ApplicationSnapshot everything(ApplicationSnapshot::Content::everything);
    QVERIFY(everything.bundleAt(path("system/applications/a.desktop")).has_value());
}

void TestApplicationSnapshot::apps_thatCannotBeStarted_doNotExist() {
    entry("system/applications/a", "Name=A\nExec=no-such-program\n");
    entry("system/applications/b", "Name=B\nTryExec=/no/such/program\n");
    entry("system/applications/c", "Name=C\nExec=\"open quote\n");
    QFile::remove(path("system/applications/d.desktop"));
    QFile link(path("system/applications/d.desktop"));
    QVERIFY(link.open(QIODevice::WriteOnly));
    link.write("[Desktop Entry]\nType=Link\nName=D\nURL=https://d.test/\n");
    link.close();
    entry("system/applications/e", "Name=E\nDBusActivatable=true\nExec=\n");
    QCOMPARE(idsOf(apps()), QStringList{"e"});
}

void TestApplicationSnapshot::names_areLocalised() {
    entry("system/applications/a",
          "Name=Calculator\nName[de]=Rechner\nName[fr]=Calculette\nMimeType=x-scheme-handler/https;\n");
    cache("x-scheme-handler/https=a.desktop;\n");
    QCOMPARE(apps().value(0).name, QString("Rechner"));
    QCOMPARE(browsers().value(0).name, QString("Rechner"));
}

void TestApplicationSnapshot::nameless_isNamedByItsId_orFile() {
    entry("system/applications/vendor/a.b", "MimeType=x-scheme-handler/https;\n");
    cache("x-scheme-handler/https=vendor-a.b.desktop;\n");
    QCOMPARE(browsers().value(0).name, QString("vendor-a.b"));
    QCOMPARE(apps().value(0).name, QString("a.b"));
}

void TestApplicationSnapshot::eachFile_isReadOnceInAScan() {
    QByteArray handlers;
    for (int i = 0; i < 30; ++i) {
        const QString id = "app" + QString::number(i);
        entry("system/applications/" + id, "Name=Same\nMimeType=x-scheme-handler/https;\n");
        handlers += id.toUtf8() + ".desktop;";
    }
    entry("system/applications/firefox", "Name=Known and associated\n");
    entry("system/applications/google-chrome", "Name=Known only\n");
    entry("user/applications/app3", "Name=Same\nMimeType=x-scheme-handler/https;\n");
    cache("x-scheme-handler/https=" + handlers + "firefox.desktop;\n");
    OpenCounter counter;
    counter.watch(path("system/applications"));
    counter.watch(path("user/applications"));

    // What the system's cache says of app3 does not hold for the user's own.
    QCOMPARE(browsers().size(), 31);
    auto opened = counter.opened();
    QCOMPARE(opened.size(), 31);
    for (auto file = opened.begin(); file != opened.end(); ++file)
        QVERIFY2(file.value() == 1, qPrintable(file.key()));

    QCOMPARE(apps().size(), 32);
    opened = counter.opened();
    QCOMPARE(opened.size(), 32); // of the two that are called app3, the masked one is not read at all
    for (auto file = opened.begin(); file != opened.end(); ++file)
        QVERIFY2(file.value() == 1, qPrintable(file.key()));
}

void TestApplicationSnapshot::oddFiles_doNoHarm() {
    entry("system/applications/good", "Name=Good\n");
    entry("system/applications/.hidden", "Name=Hidden\n");
    QVERIFY(QDir().mkpath(path("system/applications/folder.desktop")));
    QCOMPARE(symlink("loop.desktop", QFile::encodeName(path("system/applications/loop.desktop")).constData()), 0);
    QCOMPARE(symlink(".", QFile::encodeName(path("system/applications/same")).constData()), 0);
    QCOMPARE(symlink("nowhere", QFile::encodeName(path("system/applications/dangling")).constData()), 0);
    QFile binary(path("system/applications/binary.desktop"));
    QVERIFY(binary.open(QIODevice::WriteOnly));
    binary.write(QByteArray(100'000, '\0'));
    binary.close();
    auto ids = idsOf(apps());
    ids.removeAll("same-good"); // by the desktop's rules the link makes a second one
    QCOMPARE(ids, QStringList{"good"});
    const auto all = installedDesktopEntries();
    QVERIFY(std::any_of(all.begin(), all.end(), [](const DesktopEntry& each) { return each.id == "good"; }));
}

void TestApplicationSnapshot::knownIDs_keepTheOrderOfTheTable() {
    const QStringList ids = knownBrowserIDs();
    QCOMPARE(QSet<QString>(ids.begin(), ids.end()).size(), ids.size());
    QStringList firsts;
    for (const char* const id : {"com.apple.Safari", "google-chrome", "firefox", "microsoft-edge", "brave-browser",
                                 "company.thebrowser.Browser", "opera", "vivaldi-stable", "com.kagi.kagimacOS"})
        firsts.append(id);
    QStringList inOrder;
    for (const QString& id : ids) {
        if (firsts.contains(id))
            inOrder.append(id);
    }
    QCOMPARE(inOrder, firsts);
}

QTEST_GUILESS_MAIN(TestApplicationSnapshot)
#include "TestApplicationSnapshot.moc"
