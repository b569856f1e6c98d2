#pragma once

#include "platform/freedesktop/ProcessApplications.h"

#include <QHash>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include <sys/types.h>

namespace vantorel {

class InstalledIndex;

/// What a window says of the application that it belongs to. Everything may be empty.
struct WindowIdentity {
    QString gtkApplicationID;
    QString kdeDesktopFile; ///< an id, or the path of a desktop entry
    QString instance; ///< the first half of WM_CLASS
    QString className; ///< the second half of WM_CLASS, or a Wayland app_id
    std::optional<pid_t> process; ///< as the display server knows it; never what the window itself claims
};

/// What an installed application's desktop entry says of its windows.
struct WindowEntry {
    QString id;
    QString startupWMClass;
    QStringList command; ///< Exec as arguments
    bool noDisplay = false;
};

/// The name of the program that a command is about: wrappers such as env and flatpak run, and interpreters, are looked
/// through. Empty where that cannot be told.
QString programNameOf(const QStringList& command);

/// Installed applications, prepared for look-ups by what windows call themselves.
class WindowIndex {
public:
    explicit WindowIndex(const std::vector<WindowEntry>& entries);

    /// The application that the window names outright.
    std::optional<QString> named(const WindowIdentity& window) const;

    /// The application that the window's class fits: StartupWMClass, else the id, else the last part of the id, else
    /// the program's name. Letter case counts first and is overlooked then; entries that menus show come before others.
    std::optional<QString> ofClass(const WindowIdentity& window) const;

private:
    struct Candidate {
        QString id;
        bool noDisplay = false;
    };
    using Table = QHash<QString, Candidate>;

    static void add(Table& table, const QString& key, const WindowEntry& entry);
    static std::optional<QString> find(const Table& table, const QString& key);

    // Keys of the folded tables are in lower case.
    Table m_ids, m_foldedIDs, m_classes, m_foldedClasses, m_lastParts, m_programs;
};

/// Names the application that a window belongs to. A hint and no proof, as for processes. Main thread only.
class WindowApplications {
public:
    using Index = std::function<std::shared_ptr<const InstalledIndex>()>;
    using OfProcess = std::function<std::optional<ProcessApplication>(pid_t)>;

    /// The index is asked for at each look-up.
    WindowApplications(Index index, OfProcess applicationOfProcess);

    /// Surest first: the id that the window gives, the application of its own process, its class, the application of
    /// a parent of its process. A program that is not installed has windows of its own in whatever started it.
    std::optional<QString> applicationOf(const WindowIdentity& window) const;

private:
    Index m_index;
    OfProcess m_applicationOfProcess;
};

} // namespace vantorel
