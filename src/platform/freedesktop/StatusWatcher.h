#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QString>

#include <functional>
#include <memory>

class QDBusMessage;
class QDBusPendingCallWatcher;

namespace vantorel {

/// Hands our item on the bus to each org.kde.StatusNotifierWatcher that comes, and knows whether a bar shows what is
/// handed in there. Waits for no answer: a watcher that gives none counts as one without bars after a moment. Idle, it
/// does nothing. Main thread only.
class StatusWatcher : public QObject {
    Q_OBJECT

public:
    enum class Hosts { unknown, none, some }; ///< unknown until the first answer, and never again

    StatusWatcher(QDBusConnection bus, QString itemPath);

    void start();
    Hosts hosts() const { return m_hosts; }

Q_SIGNALS:
    void hostsChanged();

private Q_SLOTS:
    void onOwnerChanged(const QString& name, const QString& oldOwner, const QString& newOwner);
    void askForHosts();

private:
    using Next = std::function<void(const QDBusMessage& answer)>;
    struct GiveUp {
        void operator()(QDBusPendingCallWatcher* question) const; // which may be the one that is being answered
    };
    using Question = std::unique_ptr<QDBusPendingCallWatcher, GiveUp>;

    void setOwner(const QString& owner);
    void setHosts(Hosts hosts);
    void follow(const QString& signal, bool isWanted);
    void registerItem();
    void askForHosts(int patience);
    Question ask(const QDBusMessage& question, int patience, const Next& next);

    QDBusConnection m_bus;
    QString m_itemPath;
    QString m_owner; // the watcher's unique name; empty while there is none
    Hosts m_hosts = Hosts::unknown;
    bool m_isRefused = false; // our item, by this watcher
    Question m_nameQuestion; // under way, each of them
    Question m_registration;
    Question m_hostsQuestion;
};

} // namespace vantorel
