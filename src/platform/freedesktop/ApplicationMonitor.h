#pragma once

#include <QFileSystemWatcher>
#include <QObject>
#include <QTimer>

namespace vantorel {

/// Tells when applications may have been installed, removed or changed. Main thread only.
class ApplicationMonitor : public QObject {
    Q_OBJECT

public:
    /// Half a second: a package manager writes many files one after another, and nobody waits for the list.
    static constexpr int kDelay = 500;

    /// `delay` in milliseconds: how long after the first sign of a change it is told.
    explicit ApplicationMonitor(int delay = kDelay);
    ~ApplicationMonitor() override;

Q_SIGNALS:
    /// At most once in each delay while changes go on, and always after the last one.
    void changed();

private:
    void noticeChange();
    void announce();
    void watchVendorFolders();

    QTimer m_timer;
    QFileSystemWatcher m_vendorFolders;
    void* m_monitor; // a GAppInfoMonitor; GIO's headers stay out of this one
    unsigned long m_handler;
};

} // namespace vantorel
