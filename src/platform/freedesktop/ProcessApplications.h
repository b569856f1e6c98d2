#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>

#include <functional>
#include <optional>

#include <sys/types.h>

namespace vantorel {

/// Names the application that a process belongs to.
///
/// The answer is a hint for choosing a rule and no proof of anything: every process of the same user can forge what is
/// read here. Main thread only.
class ProcessApplications {
public:
    /// `procFolder` stands for /proc; tests give a tree of their own.
    explicit ProcessApplications(QByteArray procFolder = "/proc");

    /// The id of the application that started the process: of the process itself, else of the nearest of its parents
    /// that belongs to one. Processes that only pass links on (gio, xdg-open, shells and the like) are passed over.
    /// Absent when no process of the chain, or none of the processes any more, tells of an installed application.
    std::optional<QString> applicationOf(pid_t process);

private:
    std::optional<QString> ownApplication(const QByteArray& process);
    std::optional<QString> byExecutable(const QByteArray& process);

    QByteArray m_procFolder;
    QHash<QByteArray, QString> m_byProgram; // canonical path of an entry's program -> id; read when first needed
};

/// The application id in the name of a systemd unit (`app[-LAUNCHER]-ID-N.scope`, `app[-LAUNCHER]-ID[@X].service`,
/// `app-ID.slice`, `snap.NAME.APP-UUID.scope`), escapes undone; absent for every other name.
std::optional<QString> applicationOfUnit(const QByteArray& unit);

} // namespace vantorel
