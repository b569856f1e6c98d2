#pragma once

#include <QByteArray>
#include <QSet>
#include <QString>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>

#include <sys/types.h>

namespace vantorel {

class InstalledIndex;

/// The application that a process belongs to.
struct ProcessApplication {
    enum class Relation {
        own, ///< the process is of the application
        ancestors ///< a process that it descends from is, or what it inherited says so
    };
    QString id;
    Relation relation = Relation::own;
};

/// What a process tells of where it comes from.
struct ProcessOrigin {
    std::optional<ProcessApplication> application;
    QByteArray variable; ///< its value in the process's own environment; empty where there is none
};

/// Names the application that a process belongs to.
///
/// The answer is a hint for choosing a rule and no proof of anything: every process of the same user can forge what is
/// read here. Main thread only.
class ProcessApplications {
public:
    using Index = std::function<std::shared_ptr<const InstalledIndex>()>;

    /// `ownID` is never the answer. `procFolder` stands for /proc; tests give a tree of their own.
    ProcessApplications(Index index, QString ownID, QByteArray procFolder = "/proc");

    /// The application of the process itself, else of the nearest of its parents that belongs to one, else the one that
    /// they have inherited the name of. Programs that only pass links on (gio, xdg-open and the like) stand for
    /// nothing. Absent when nothing tells of an installed application, and when it cannot be told at once: nothing that
    /// has to be waited for, such as a process in an odd state, is waited for longer than 50 ms. Reading itself takes
    /// as long as it takes: less than one for usual processes, more where many parents have environments of megabytes.
    std::optional<ProcessApplication> applicationOf(pid_t process);

    /// `applicationOf()`, and in the same look the value of a variable that the process was started with. A chain that
    /// does not answer in time leaves the process itself to be asked, which waits another 50 ms at most. `meanwhile` is
    /// called at once while the look goes on.
    ProcessOrigin originOf(pid_t process, const QByteArray& variable, const std::function<void()>& meanwhile = {});

    /// Parents from this process on are the session and no applications: the bus, which starts services, and ourselves.
    void endChainsAt(pid_t process) { m_session.ends.insert(process); }

    /// What this process has inherited was there before any application: the same name elsewhere tells nothing.
    void ignoreInheritanceOf(pid_t process);

    /// What belongs to the session rather than to applications in it.
    struct Session {
        QString ownID;
        QSet<pid_t> ends;
        QSet<QByteArray> inherited; // values of GIO_LAUNCHED_DESKTOP_FILE
    };

private:
    template <typename Answer>
    std::optional<Answer> askInTime(std::function<Answer()> question, const std::function<void()>& meanwhile = {});

    Index m_index;
    QByteArray m_procFolder;
    Session m_session;
    std::shared_ptr<std::atomic<int>> m_underWay = std::make_shared<std::atomic<int>>(0);
};

/// What the name of a systemd unit says of the application in it.
struct UnitApplication {
    QString id;
    bool isSandboxed = false; ///< by flatpak or snap, whose applications need no desktop entry
};

/// The application in the name of a systemd unit (`app[-LAUNCHER]-ID-N.scope`, `app[-LAUNCHER]-ID[@X].service`,
/// `app-ID.slice`, `snap.NAME.APP-UUID.scope`), escapes undone; absent for every other name.
std::optional<UnitApplication> applicationOfUnit(const QByteArray& unit);

} // namespace vantorel
