#pragma once

#include <QByteArray>
#include <QByteArrayList>

#include <optional>

#include <sys/types.h>

namespace vantorel {

/// What /proc says of one process. Everything may be empty: processes end while they are read, and those of other users
/// and those that guard their memory deny most of it. Any thread.
///
/// No read waits for a pipe or a device, and none takes in more than a process can rightly have there; a file system
/// that does not answer, below a process's root or behind its memory, still makes the caller wait.
class ProcessFiles {
public:
    /// The process, if there is one. `procFolder` stands for /proc.
    static std::optional<ProcessFiles> find(const QByteArray& procFolder, pid_t process);

    pid_t id() const { return m_id; }
    pid_t parent() const { return m_parent; }
    /// In ticks of the clock since the system started.
    quint64 startTime() const { return m_startTime; }
    /// Whether the process has ended and its number been given to another one.
    bool isAnotherNow() const;

    QByteArray cgroups() const;
    QByteArray sandbox() const; ///< the file that flatpak puts at the root of its sandboxes
    QByteArray commandName() const; ///< 15 bytes at most
    QByteArrayList arguments() const;
    QByteArray environment() const; ///< variables as the process was started with, each ended by a 0

    /// The path of the program in the process's own view of the file systems, also of one that has been replaced since
    /// the process started; empty where it is denied.
    QByteArray program() const;
    /// Whether the paths that it names are the files that we know by them, as far as can be told.
    bool sharesOurFiles() const;
    /// Whether its program is this very file, in our view; of a replaced one, whether it was.
    bool runsFile(const QByteArray& path) const;

private:
    QByteArray m_folder;
    pid_t m_id = 0;
    pid_t m_parent = 0;
    quint64 m_startTime = 0;
};

} // namespace vantorel
