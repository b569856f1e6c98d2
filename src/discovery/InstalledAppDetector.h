#pragma once

#include "discovery/AppInfo.h"
#include "platform/ApplicationBundles.h"

#include <QList>
#include <QObject>
#include <QSet>

#include <functional>
#include <memory>

namespace vantorel {

/// Finds the applications that are installed, by walking the desktop's application folders and one level of folders in
/// them, without this program itself.
///
/// Main thread only, apart from the scans, which run on Qt's global thread pool and touch nothing of this object.
/// Whatever cannot be listed or read is passed over in silence.
class InstalledAppDetector : public QObject {
    Q_OBJECT

public:
    /// What the desktop has at one moment. Both may be one object.
    struct Snapshot {
        std::shared_ptr<BundleFolders> folders;
        std::shared_ptr<BundleReader> bundles;
    };
    /// Called on the thread of the scan, once for each.
    using TakeSnapshot = std::function<Snapshot()>;

    InstalledAppDetector(TakeSnapshot takeSnapshot, QString ownBundleID);

    /// Sorted by name in the user's language; empty until the first scan is done, then the result of the last one.
    const QList<AppInfo>& apps() const { return m_apps; }

    /// Starts a scan and returns at once. Each scan publishes its own result, whole; nothing is cancelled.
    void refresh();

    /// One whole scan. Any thread.
    static QList<AppInfo> scan(const Snapshot& snapshot, const QString& ownBundleID);

Q_SIGNALS:
    /// After each assignment of `apps`, also of an equal list.
    void appsChanged();

private:
    TakeSnapshot m_takeSnapshot;
    QString m_ownBundleID;
    QList<AppInfo> m_apps;
};

} // namespace vantorel
