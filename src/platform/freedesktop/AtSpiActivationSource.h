#pragma once

#include "platform/freedesktop/ActivationBackend.h"

#include <QDBusConnection>
#include <QString>
#include <QTimer>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

class QDBusMessage;
class QDBusPendingCallWatcher;

namespace vantorel {

/// The window that was activated last, as applications tell assistive technologies on the accessibility bus.
///
/// For sessions in which nothing better tells. Accessibility is used where it runs already, and never started. Only
/// what becomes active after the start is known. Idle, it does nothing; it waits for nobody.
class AtSpiActivationSource : public ActivationBackend {
    Q_OBJECT

public:
    /// Windows of this very process are answered with `ownBundleID`, all others as `identify` says of their process.
    /// The pauses before new attempts to reach a bus that is announced begin with `firstRetry`; after a few it is let
    /// be until it is announced anew.
    AtSpiActivationSource(QDBusConnection session, QString ownBundleID, Identify identify,
                          std::chrono::milliseconds firstRetry = std::chrono::seconds(1));
    ~AtSpiActivationSource() override;

    void start(Activated activated) override;
    void stop() override;
    std::optional<QString> frontmost() override { return m_frontmost; }

private Q_SLOTS:
    void onOwnerChanged(const QString& name, const QString& oldOwner, const QString& newOwner);

private:
    class Bus;
    struct Window {
        QString sender; // its application's unique name on the accessibility bus
        QString path;
        bool operator==(const Window&) const = default;
    };
    using Next = void (AtSpiActivationSource::*)(const QDBusMessage& answer);

    void ask(const QDBusMessage& question, Next next);
    void takeOwner(const QDBusMessage& answer);
    void setOwner(const QString& owner);
    void askAddress();
    void takeAddress(const QDBusMessage& answer);
    void loseBus();

    void onRegistry(bool isThere);
    void onActivated(const Window& window);
    void onDeactivated(const Window& window);
    void onGone(const QString& sender);
    void askProcess();
    void takeProcess(std::optional<pid_t> process);
    void forgetWindow();

    QDBusConnection m_session;
    QString m_ownBundleID;
    Identify m_identify;
    Activated m_activated; // empty while stopped

    QString m_owner; // of org.a11y.Bus in the session; empty when there is none
    std::unique_ptr<QDBusPendingCallWatcher> m_question; // to the session bus: one at a time
    std::unique_ptr<Bus> m_bus; // absent while there is nothing to connect to
    QTimer m_retry;
    std::chrono::milliseconds m_firstRetry;
    int m_failures = 0;

    std::optional<Window> m_active;
    std::optional<QString> m_frontmost; // the application of m_active, once it is known
    std::optional<QString> m_asked; // whose process is being asked for: one at a time
};

} // namespace vantorel
