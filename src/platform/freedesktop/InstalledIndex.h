#pragma once

#include "platform/freedesktop/UniqueFd.h"
#include "platform/freedesktop/WindowApplications.h"

#include <QByteArray>
#include <QHash>
#include <QObject>
#include <QString>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vantorel {

struct DesktopEntry;

/// Installed applications, prepared for look-ups by what processes and windows tell. One read of the desktop entries;
/// never changes, so any thread may ask.
class InstalledIndex {
public:
    explicit InstalledIndex(const std::vector<DesktopEntry>& entries);

    /// Reads every desktop entry of the system; some milliseconds for some hundred of them.
    static std::shared_ptr<const InstalledIndex> read();

    bool contains(const QString& id) const { return m_programNames.contains(id); }

    /// The name of the program that an application is about, wrappers looked through; empty where that is not known.
    QByteArray programNameOf(const QString& id) const { return m_programNames.value(id); }

    /// The id of the application whose desktop entry is this file, installed or not; absent for files elsewhere.
    std::optional<QString> idOfFile(const QByteArray& path) const;

    /// The application whose entry starts this executable or script, given by its canonical path. Interpreters and
    /// shells stand for no application.
    std::optional<QString> ofProgram(const QByteArray& path) const;

    const WindowIndex& windows() const { return m_windows; }

    /// Whether an application was installed, removed or changed since this was read. At once, without a look at any
    /// entry; what file systems do not announce is not seen.
    bool isOutdated() const;

private:
    QHash<QString, QByteArray> m_programNames;
    QHash<QByteArray, QString> m_byProgram;
    WindowIndex m_windows;
    std::vector<std::string> m_folders;
    std::vector<std::string> m_missingFolders;
    UniqueFd m_changes; // an inotify instance that only ever tells that there was a change
};

/// The index as of now, kept ready for links. Main thread only.
class CurrentIndex : public QObject {
    Q_OBJECT

public:
    /// Reads the entries on a thread of Qt's pool and takes the result from the event loop.
    void refresh();

    /// Reads the entries itself where there is no result yet, or something has changed since.
    std::shared_ptr<const InstalledIndex> get();

private:
    std::shared_ptr<const InstalledIndex> m_index;
};

/// Whether a program, by its path or name, runs another one that is given as a file: shells, interpreters.
bool isInterpreter(const QByteArray& program);

} // namespace vantorel
