#include "discovery/InstalledAppDetector.h"

#include "discovery/BackgroundScan.h"
#include "discovery/NameOrder.h"

#include <utility>

namespace vantorel {

namespace {

// An application folder, and the folders of vendors in it.
constexpr int kDepth = 2;

QString extensionOf(const QString& name) {
    const auto dot = name.lastIndexOf(u'.');
    return dot < 0 ? QString() : name.mid(dot + 1);
}

QString withoutExtension(const QString& name) {
    return name.left(name.lastIndexOf(u'.'));
}

// One walk through all folders.
class Walk {
public:
    Walk(const InstalledAppDetector::Snapshot& snapshot, const QString& ownBundleID)
        : m_folders(*snapshot.folders)
        , m_bundles(*snapshot.bundles)
        , m_extension(m_folders.bundleExtension())
        , m_ownBundleID(ownBundleID) { }

    QList<AppInfo> results() {
        for (const QString& folder : m_folders.folders())
            scanDirectory(folder, kDepth);
        return std::move(m_results);
    }

private:
    // A bundle is never descended into.
    void scanDirectory(const QString& folder, int depth) {
        if (depth < 1)
            return;
        for (const BundleFolders::Entry& entry : m_folders.entriesOf(folder)) {
            if (extensionOf(entry.name).toLower() == m_extension)
                addApp(entry);
            else if (entry.isDirectory.value_or(false))
                scanDirectory(entry.path, depth - 1);
        }
    }

    // The first copy of an application wins.
    void addApp(const BundleFolders::Entry& entry) {
        const auto bundle = m_bundles.bundleAt(entry.path);
        if (!bundle || !bundle->identifier)
            return;
        const QString& id = *bundle->identifier;
        if (m_seen.contains(id) || id == m_ownBundleID)
            return;
        m_results.append({.id = id,
                          .name = bundle->displayName.value_or(bundle->name.value_or(withoutExtension(entry.name))),
                          .appURL = QUrl::fromLocalFile(entry.path),
                          .icon = bundle->icon});
        m_seen.insert(id);
    }

    BundleFolders& m_folders;
    BundleReader& m_bundles;
    QString m_extension;
    QString m_ownBundleID;
    QSet<QString> m_seen;
    QList<AppInfo> m_results;
};

} // namespace

InstalledAppDetector::InstalledAppDetector(TakeSnapshot takeSnapshot, QString ownBundleID)
    : m_takeSnapshot(std::move(takeSnapshot))
    , m_ownBundleID(std::move(ownBundleID)) { }

void InstalledAppDetector::refresh() {
    scanInBackground(
        this,
        [takeSnapshot = m_takeSnapshot, ownBundleID = m_ownBundleID] { return scan(takeSnapshot(), ownBundleID); },
        [this](const QList<AppInfo>& result) {
            m_apps = result;
            Q_EMIT appsChanged();
        });
}

QList<AppInfo> InstalledAppDetector::scan(const Snapshot& snapshot, const QString& ownBundleID) {
    QList<AppInfo> result = Walk(snapshot, ownBundleID).results();
    NameOrder().sort(result);
    return result;
}

} // namespace vantorel
