#pragma once

#include "platform/freedesktop/ActivationBackend.h"

#include <QByteArray>
#include <QElapsedTimer>
#include <QTimer>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

class QDeadlineTimer;
class QSocketNotifier;

namespace vantorel {

/// Where the compositor listens that WAYLAND_DISPLAY names, given XDG_RUNTIME_DIR; empty where that is nowhere.
QByteArray waylandSocketPath(const QByteArray& display, const QByteArray& runtimeFolder);

/// The activated toplevel window of a Wayland compositor that tells taskbars about all windows, as those on wlroots do.
///
/// Has a connection of its own, which nothing ever waits on without a limit: a compositor that is stopped, slow or gone
/// costs a link a moment at most, and one that comes back is found again. Idle, it does nothing. A compositor that does
/// not tell stays connected, so that it shows when it does, or when another one takes its place.
class WlrActivationSource : public ActivationBackend {
    Q_OBJECT

public:
    /// Windows that go by `ownBundleID` are this program's; all others are named by `identify`.
    WlrActivationSource(QByteArray socketPath, QString ownBundleID, Identify identify);
    ~WlrActivationSource() override;

    void start(Activated activated) override;
    void stop() override;
    std::optional<QString> frontmost() override;

private:
    struct Compositor;

    void connectToCompositor();
    void dropCompositor();
    void retryLater();

    void readEvents();
    void advance();
    bool awaitAnswer(const QDeadlineTimer& deadline);
    void report(const QByteArray& appID);
    std::optional<QString> applicationOf(const QByteArray& appID) const;

    QByteArray m_socketPath;
    QString m_ownBundleID;
    Identify m_identify;
    Activated m_activated;

    std::unique_ptr<Compositor> m_compositor; // absent while there is no connection
    QSocketNotifier* m_incoming = nullptr;
    QSocketNotifier* m_outgoing = nullptr; // on instead while the compositor has not taken what we say
    QElapsedTimer m_connected;
    QTimer m_retry;
    std::chrono::milliseconds m_pause; // before the next attempt; grows with each that fails
    bool m_isLate = false; // a link has waited in vain: the next ones do not, until an answer comes
};

} // namespace vantorel
