#include "discovery/BrowserDetector.h"

#include "discovery/BackgroundScan.h"
#include "discovery/NameOrder.h"

#include <QSet>

#include <utility>

namespace vantorel {

namespace {

struct Search {
    const BrowserDetector::Snapshot& snapshot;
    const QString& ownBundleID;
    QList<BrowserInfo> list;
    QSet<QString> seen;

    // The location is always the one that the id stands for, even when the id was found somewhere else. An id that is
    // nowhere is not marked as seen.
    void add(const QString& bundleID) {
        if (bundleID == ownBundleID || seen.contains(bundleID))
            return;
        const auto location = snapshot.applications->locationOf(bundleID);
        if (!location)
            return;
        const BundleInfo bundle = snapshot.bundles->bundleAt(*location).value_or(BundleInfo());
        list.append({.id = bundleID,
                     .name = bundle.displayName.value_or(bundle.name.value_or(bundleID)),
                     .appURL = QUrl::fromLocalFile(*location),
                     .icon = bundle.icon});
        seen.insert(bundleID);
    }
};

} // namespace

BrowserDetector::BrowserDetector(TakeSnapshot takeSnapshot, QStringList knownIDs, QString ownBundleID)
    : m_takeSnapshot(std::move(takeSnapshot))
    , m_knownIDs(std::move(knownIDs))
    , m_ownBundleID(std::move(ownBundleID)) { }

void BrowserDetector::refresh() {
    scanInBackground(
        this,
        [takeSnapshot = m_takeSnapshot, knownIDs = m_knownIDs, ownBundleID = m_ownBundleID] {
            return detect(takeSnapshot(), knownIDs, ownBundleID);
        },
        [this](const QList<BrowserInfo>& result) {
            m_browsers = result;
            Q_EMIT browsersChanged();
        });
}

QList<BrowserInfo> BrowserDetector::detect(const Snapshot& snapshot, const QStringList& knownIDs,
                                           const QString& ownBundleID) {
    Search search{snapshot, ownBundleID, {}, {}};
    for (const QString& location : snapshot.applications->locationsForScheme(QStringLiteral("https"))) {
        const auto bundle = snapshot.bundles->bundleAt(location);
        if (bundle && bundle->identifier)
            search.add(*bundle->identifier);
    }
    for (const QString& bundleID : knownIDs)
        search.add(bundleID);
    NameOrder().sort(search.list);
    return search.list;
}

} // namespace vantorel
