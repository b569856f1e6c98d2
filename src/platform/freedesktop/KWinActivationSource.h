#pragma once

#include "platform/freedesktop/ActivationBackend.h"

#include <QDBusConnection>
#include <QDBusContext>
#include <QString>
#include <QTimer>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

class QDBusMessage;
class QDBusPendingCallWatcher;
class QTemporaryFile;

namespace vantorel {

/// The active window of KWin, as a small script inside it reports.
///
/// The script is loaded over the session bus while KWin is there, and unloaded when the program ends. KWin is never
/// started, and nothing waits for it but the first link, for a moment. Idle, it does nothing.
class KWinActivationSource : public ActivationBackend, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.qorbex.Vantorel.KWin")

public:
    /// Windows of this very process are answered with `ownBundleID`, all others as `identify` says. The pauses before
    /// new attempts when KWin refuses the script begin with `firstRetry`; after a few KWin is let be until it restarts.
    KWinActivationSource(QDBusConnection bus, QString ownBundleID, Identify identify,
                         std::chrono::milliseconds firstRetry = std::chrono::seconds(1));
    ~KWinActivationSource() override;

    void start(Activated activated) override;
    void stop() override;

    /// While KWin is being asked for its first report, waits for that: 30 ms at most, and not again before KWin
    /// answers. The state may change within.
    std::optional<QString> frontmost() override;

public Q_SLOTS:
    // The script's reports: which window is active when the script begins, and each activation. All texts are empty
    // when no window is active.
    Q_SCRIPTABLE void Active(const QString& desktopFile, const QString& className, const QString& instance,
                             const QString& process);
    Q_SCRIPTABLE void Activated(const QString& desktopFile, const QString& className, const QString& instance,
                                const QString& process);

private Q_SLOTS:
    void onOwnerChanged(const QString& name, const QString& oldOwner, const QString& newOwner);

private:
    using Next = void (KWinActivationSource::*)(const QDBusMessage& answer);

    void ask(const QDBusMessage& question, Next next);
    void takeAnswer();
    void awaitAnswers();

    void takeOwner(const QDBusMessage& answer);
    void setOwner(const QString& owner);
    void load();
    void loadUnloaded(const QDBusMessage& answer);
    void runLoaded(const QDBusMessage& answer);
    void finishStart(const QDBusMessage& answer);
    void forgetScript();
    void fail();
    void unload();
    bool isFromKWin();
    void remember(const QString& desktopFile, const QString& className, const QString& instance,
                  const QString& process);

    QDBusMessage callTo(const QString& path, const QString& interface, const QString& method) const;

    QDBusConnection m_bus;
    QString m_ownBundleID;
    Identify m_identify;
    ActivationSource::Activated m_activated; // empty while stopped

    QString m_owner; // of KWin's name on the bus; empty when there is none
    std::unique_ptr<QDBusPendingCallWatcher> m_question; // one at a time, until the script runs
    Next m_next = nullptr;
    std::unique_ptr<QTemporaryFile> m_script; // until it has reported for the first time
    bool m_awaitsReport = false;
    QTimer m_reportOverdue;
    QTimer m_retry;
    std::chrono::milliseconds m_firstRetry;
    int m_failures = 0; // of this KWin

    std::optional<QString> m_frontmost;
    bool m_isWaiting = false;
    bool m_isLate = false; // a link has waited in vain: the next ones do not, until an answer comes
};

} // namespace vantorel
