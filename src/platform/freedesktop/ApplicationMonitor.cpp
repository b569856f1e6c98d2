#include <gio/gio.h>

#include "platform/freedesktop/ApplicationMonitor.h"

#include "platform/freedesktop/DesktopEntry.h"

#include <QFile>

#include <filesystem>
#include <system_error>

namespace vantorel {

ApplicationMonitor::ApplicationMonitor(int delay) : m_monitor(g_app_info_monitor_get()) {
    m_timer.setSingleShot(true);
    m_timer.setInterval(delay);
    connect(&m_timer, &QTimer::timeout, this, &ApplicationMonitor::announce);
    connect(&m_vendorFolders, &QFileSystemWatcher::directoryChanged, this, &ApplicationMonitor::noticeChange);
    m_handler = g_signal_connect_swapped(m_monitor, "changed",
                                         G_CALLBACK(+[](ApplicationMonitor* self) { self->noticeChange(); }), this);
    QTimer::singleShot(0, this, &ApplicationMonitor::watchVendorFolders); // from the loop: not before the first link
}

ApplicationMonitor::~ApplicationMonitor() {
    g_signal_handler_disconnect(m_monitor, m_handler);
    g_object_unref(m_monitor);
}

// Not started anew by each sign: changes that go on for minutes must not keep the list old for minutes.
void ApplicationMonitor::noticeChange() {
    if (!m_timer.isActive())
        m_timer.start();
}

void ApplicationMonitor::announce() {
    watchVendorFolders();
    Q_EMIT changed();
}

// GIO watches the application folders, but not the folders of vendors in them.
void ApplicationMonitor::watchVendorFolders() {
    QStringList found;
    for (const std::string& folder : applicationFolders()) {
        std::error_code error;
        for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
             entry.increment(error)) {
            std::error_code unreadable;
            if (entry->is_directory(unreadable))
                found.append(QFile::decodeName(entry->path().c_str()));
        }
    }
    const QStringList watched = m_vendorFolders.directories();
    for (const QString& folder : watched) {
        if (!found.contains(folder))
            m_vendorFolders.removePath(folder);
    }
    for (const QString& folder : std::as_const(found)) {
        if (!watched.contains(folder))
            m_vendorFolders.addPath(folder);
    }
}

} // namespace vantorel
