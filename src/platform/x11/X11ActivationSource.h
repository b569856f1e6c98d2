#pragma once

#include "platform/freedesktop/ActivationBackend.h"

#include <QTimer>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

class QDeadlineTimer;
class QSocketNotifier;

namespace vantorel {

/// The active window of an X server, as its window manager announces it on the root window.
///
/// Has a connection of its own, which nothing ever waits on without a limit: a server that is stopped, slow or gone
/// costs a link a moment at most, and one that comes back is found again. Idle, it does nothing.
class X11ActivationSource : public ActivationBackend {
    Q_OBJECT

public:
    /// `display` is what DISPLAY says. Windows of this very process are answered with `ownBundleID`, all others as
    /// `identify` says.
    X11ActivationSource(QByteArray display, QString ownBundleID, Identify identify);
    ~X11ActivationSource() override;

    void start(Activated activated) override;
    void stop() override;
    std::optional<QString> frontmost() override;

private:
    struct Server;
    struct Attempt;
    struct Look;

    void connectToServer();
    void takeServer();
    void dropServer();
    void loseServer();
    void retryLater();

    void readEvents();
    void beginLook();
    bool advanceLook();
    void finishLook();
    bool awaitLook(const QDeadlineTimer& deadline);
    void readEventsLater();
    void readPendingEvents();
    std::optional<QString> applicationOf(const WindowIdentity& window) const;

    QByteArray m_display;
    QString m_ownBundleID;
    Identify m_identify;
    Activated m_activated;

    std::unique_ptr<Server> m_server; // absent while there is no connection
    std::shared_ptr<Attempt> m_attempt; // absent while no connection is being made
    QSocketNotifier* m_notifier = nullptr; // for whichever of the two there is
    QTimer m_retry;
    std::chrono::milliseconds m_pause; // before the next attempt; grows with each that fails

    std::unique_ptr<Look> m_look; // the questions that are under way: one set at a time
    std::optional<QString> m_found; // what the last one found
    quint32 m_activeWindow = 0; // the one that was reported last
    bool m_changedMeanwhile = false; // the active window, since the look under way began
    bool m_isLate = false; // a link has waited in vain: the next ones do not, until an answer comes
    bool m_willReadEvents = false;
};

} // namespace vantorel
