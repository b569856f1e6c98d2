#include "discovery/InstalledAppDetector.h"

#include "platform/bundles/FileBundleFolders.h"
#include "platform/bundles/PlistBundleReader.h"

#include <QDir>
#include <QFile>
#include <QSemaphore>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include <QThreadPool>

#include <unistd.h>

using namespace vantorel;

namespace {

constexpr auto kOwn = "com.qorbex.Vantorel";

/// Counts what is read.
class CountingReader : public BundleReader {
public:
    QStringList asked;

    std::optional<BundleInfo> bundleAt(const QString& location) override {
        asked.append(location);
        return m_reader.bundleAt(location);
    }

private:
    PlistBundleReader m_reader;
};

} // namespace

/// The walk, over real trees of bundles.
class TestInstalledAppDetector : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();

    void apps_areListedByName();
    void sameIdTwice_firstFolderWins();
    void subfolder_isWalked_deeperOnesAreNot();
    void extension_inAnyCase();
    void bundle_isNeverDescendedInto();
    void bundleWithoutIdentifier_andItself_areNotListed();
    void names_displayNameThenNameThenFileName();
    void hiddenEntries_areNotExamined();
    void brokenOnes_arePassedOver();
    void missingFolders_contributeNothing();
    void sameNames_keepTheOrderOfTheWalk();
    void eachBundle_isReadOnce();
    void refresh_returnsAtOnce_andPublishesOnTheMainThread();
    void deletedDetector_isNotPublishedTo();

private:
    QString path(const QString& name) const { return m_root->filePath(name); }
    void bundle(const QString& name, const QMap<QString, QString>& values) const;
    QList<AppInfo> scan() const;
    QStringList ids() const;

    std::unique_ptr<QTemporaryDir> m_root;
    QStringList m_folders;
    std::shared_ptr<CountingReader> m_reader;
};

void TestInstalledAppDetector::init() {
    m_root = std::make_unique<QTemporaryDir>();
    m_folders = {path("Applications"), path("home/Applications"), path("System/Applications"),
                 path("System/Applications/Utilities")};
    m_reader = std::make_shared<CountingReader>();
}

void TestInstalledAppDetector::bundle(const QString& name, const QMap<QString, QString>& values) const {
    QVERIFY(QDir().mkpath(path(name + "/Contents")));
    QFile file(path(name + "/Contents/Info.plist"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    QString text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>";
    for (auto value = values.begin(); value != values.end(); ++value)
        text += "<key>" + value.key() + "</key>" + value.value();
    file.write((text + "</dict></plist>\n").toUtf8());
}

QList<AppInfo> TestInstalledAppDetector::scan() const {
    return InstalledAppDetector::scan({std::make_shared<FileBundleFolders>(m_folders), m_reader}, kOwn);
}

QStringList TestInstalledAppDetector::ids() const {
    QStringList result;
    for (const AppInfo& app : scan())
        result.append(app.id);
    return result;
}

static QMap<QString, QString> named(const QString& id, const QString& name) {
    return {{"CFBundleIdentifier", "<string>" + id + "</string>"}, {"CFBundleName", "<string>" + name + "</string>"}};
}

void TestInstalledAppDetector::apps_areListedByName() {
    bundle("Applications/A.app", named("org.a", "zoo"));
    bundle("home/Applications/B.app", named("org.b", "Mail"));
    bundle("System/Applications/C.app", named("org.c", "ärger"));
    bundle("System/Applications/Utilities/D.app", named("org.d", "Beta"));
    const auto apps = scan();
    QCOMPARE(ids(), (QStringList{"org.c", "org.d", "org.b", "org.a"}));
    QCOMPARE(
        apps[3],
        (AppInfo{.id = "org.a", .name = "zoo", .appURL = QUrl::fromLocalFile(path("Applications/A.app")), .icon = {}}));
}

void TestInstalledAppDetector::sameIdTwice_firstFolderWins() {
    bundle("System/Applications/Mail.app", named("org.mail", "System's"));
    bundle("Applications/Mail.app", named("org.mail", "User's"));
    const auto apps = scan();
    QCOMPARE(apps.size(), 1);
    QCOMPARE(apps[0].name, QString("User's"));
    QCOMPARE(apps[0].appURL, QUrl::fromLocalFile(path("Applications/Mail.app")));
}

void TestInstalledAppDetector::subfolder_isWalked_deeperOnesAreNot() {
    bundle("Applications/Maker/Near.app", named("org.near", "Near"));
    bundle("Applications/Maker/Suite/Far.app", named("org.far", "Far"));
    QCOMPARE(ids(), QStringList{"org.near"});
}

void TestInstalledAppDetector::extension_inAnyCase() {
    bundle("Applications/One.APP", named("org.one", "One"));
    bundle("Applications/Two.aPp", named("org.two", "Two"));
    bundle("Applications/Three.appx", named("org.three", "Three"));
    bundle("Applications/app", named("org.four", "Four"));
    QCOMPARE(ids(), (QStringList{"org.one", "org.two"}));
}

void TestInstalledAppDetector::bundle_isNeverDescendedInto() {
    bundle("Applications/Outer.app", named("org.outer", "Outer"));
    bundle("Applications/Outer.app/Inner.app", named("org.inner", "Inner"));
    QVERIFY(QDir().mkpath(path("Applications/Empty.app")));
    bundle("Applications/Empty.app/Inner.app", named("org.hidden", "Hidden"));
    QCOMPARE(ids(), QStringList{"org.outer"});
}

void TestInstalledAppDetector::bundleWithoutIdentifier_andItself_areNotListed() {
    bundle("Applications/Anonymous.app", {{"CFBundleName", "<string>Anonymous</string>"}});
    bundle("Applications/Number.app", {{"CFBundleIdentifier", "<integer>7</integer>"}});
    bundle("Applications/Own.app", named(kOwn, "Own"));
    QCOMPARE(ids(), QStringList());
}

void TestInstalledAppDetector::names_displayNameThenNameThenFileName() {
    auto values = named("org.a", "Name");
    values["CFBundleDisplayName"] = "<string>Display</string>";
    bundle("Applications/A.app", values);
    values["CFBundleIdentifier"] = "<string>org.b</string>";
    values["CFBundleDisplayName"] = "<integer>3</integer>";
    bundle("Applications/B.app", values);
    bundle("Applications/Plain file.name.app", {{"CFBundleIdentifier", "<string>org.c</string>"}});
    values["CFBundleIdentifier"] = "<string>org.d</string>";
    values["CFBundleDisplayName"] = "<string></string>";
    bundle("Applications/D.app", values);
    QMap<QString, QString> names;
    for (const AppInfo& app : scan())
        names[app.id] = app.name;
    QCOMPARE(
        names,
        (QMap<QString, QString>{{"org.a", "Display"}, {"org.b", "Name"}, {"org.c", "Plain file.name"}, {"org.d", ""}}));
}

void TestInstalledAppDetector::hiddenEntries_areNotExamined() {
    bundle("Applications/.Hidden.app", named("org.hidden", "Hidden"));
    bundle("Applications/.folder/Inside.app", named("org.inside", "Inside"));
    QCOMPARE(ids(), QStringList());
    QCOMPARE(m_reader->asked, QStringList());
}

void TestInstalledAppDetector::brokenOnes_arePassedOver() {
    bundle("Applications/Good.app", named("org.good", "Good"));
    QVERIFY(QDir().mkpath(path("Applications/Bad.app/Contents")));
    QFile bad(path("Applications/Bad.app/Contents/Info.plist"));
    QVERIFY(bad.open(QIODevice::WriteOnly));
    bad.write("<plist><dict><key>CFBundleIdentifier");
    bad.close();
    QCOMPARE(symlink("nowhere", QFile::encodeName(path("Applications/Dangling.app")).constData()), 0);
    QCOMPARE(symlink("nowhere", QFile::encodeName(path("Applications/dangling")).constData()), 0);
    QFile file(path("Applications/File.app"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(symlink("loop", QFile::encodeName(path("Applications/loop")).constData()), 0);
    QCOMPARE(symlink(".", QFile::encodeName(path("Applications/same")).constData()), 0);
    QCOMPARE(ids(), QStringList{"org.good"});
}

void TestInstalledAppDetector::missingFolders_contributeNothing() {
    QCOMPARE(ids(), QStringList());
}

void TestInstalledAppDetector::sameNames_keepTheOrderOfTheWalk() {
    bundle("System/Applications/A.app", named("org.a", "Same"));
    bundle("home/Applications/B.app", named("org.b", "Same"));
    bundle("Applications/C.app", named("org.c", "Same"));
    QCOMPARE(ids(), (QStringList{"org.c", "org.b", "org.a"}));
}

void TestInstalledAppDetector::eachBundle_isReadOnce() {
    for (int i = 0; i < 20; ++i)
        bundle(QString("Applications/%1.app").arg(i), named(QString("org.%1").arg(i), "Same"));
    QCOMPARE(scan().size(), 20);
    QCOMPARE(m_reader->asked.size(), 20);
    QCOMPARE((QSet<QString>(m_reader->asked.begin(), m_reader->asked.end())).size(), 20);
}

void TestInstalledAppDetector::refresh_returnsAtOnce_andPublishesOnTheMainThread() {
    bundle("Applications/A.app", named("org.a", "A"));
    QSemaphore mayScan;
    InstalledAppDetector detector(
        [&] {
            mayScan.acquire();
            return InstalledAppDetector::Snapshot{std::make_shared<FileBundleFolders>(m_folders), m_reader};
        },
        kOwn);
    QThread* publishThread = nullptr;
    connect(
        &detector, &InstalledAppDetector::appsChanged, &detector, [&] { publishThread = QThread::currentThread(); },
        Qt::DirectConnection);
    detector.refresh();
    QVERIFY(detector.apps().isEmpty());
    mayScan.release();
    QTRY_COMPARE(detector.apps().size(), 1);
    QCOMPARE(publishThread, QThread::currentThread());
}

void TestInstalledAppDetector::deletedDetector_isNotPublishedTo() {
    QSemaphore mayScan;
    auto detector = std::make_unique<InstalledAppDetector>(
        [&] {
            mayScan.acquire();
            return InstalledAppDetector::Snapshot{std::make_shared<FileBundleFolders>(m_folders), m_reader};
        },
        kOwn);
    QSignalSpy spy(detector.get(), &InstalledAppDetector::appsChanged);
    detector->refresh();
    detector.reset();
    mayScan.release();
    QVERIFY(QThreadPool::globalInstance()->waitForDone());
    QCoreApplication::sendPostedEvents();
    QCOMPARE(spy.count(), 0);
}

QTEST_GUILESS_MAIN(TestInstalledAppDetector)
#include "TestInstalledAppDetector.moc"
