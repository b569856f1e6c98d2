#pragma once

#include "discovery/BrowserInfo.h"
#include "platform/ApplicationBundles.h"

#include <QList>
#include <QObject>
#include <QStringList>

#include <functional>
#include <memory>

namespace vantorel {

/// Finds the browsers that are installed: every application that opens https links, and the known ones, without this
/// program itself.
///
/// Main thread only, apart from the scans, which run on Qt's global thread pool and touch nothing of this object.
class BrowserDetector : public QObject {
    Q_OBJECT

public:
    /// What the desktop knows at one moment. Both may be one object.
    struct Snapshot {
        std::shared_ptr<LinkApplications> applications;
        std::shared_ptr<BundleReader> bundles;
    };
    /// Called on the thread of the scan, once for each.
    using TakeSnapshot = std::function<Snapshot()>;

    /// `knownIDs` are offered wherever they are installed, in this order after what the desktop reports.
    BrowserDetector(TakeSnapshot takeSnapshot, QStringList knownIDs, QString ownBundleID);

    /// Sorted by name in the user's language; empty until the first scan is done, then the result of the last one.
    const QList<BrowserInfo>& browsers() const { return m_browsers; }

    /// Starts a scan and returns at once. Each scan publishes its own result, whole; nothing is cancelled.
    void refresh();

    /// One whole scan. Any thread.
    static QList<BrowserInfo> detect(const Snapshot& snapshot, const QStringList& knownIDs, const QString& ownBundleID);

Q_SIGNALS:
    /// After each assignment of `browsers`, also of an equal list.
    void browsersChanged();

private:
    TakeSnapshot m_takeSnapshot;
    QStringList m_knownIDs;
    QString m_ownBundleID;
    QList<BrowserInfo> m_browsers;
};

} // namespace vantorel
