#pragma once

#include <QDBusAbstractAdaptor>
#include <QDBusMessage>
#include <QStringList>

#include <functional>

namespace vantorel {

class InterceptDebugStore;
class RulesStore;

/// com.qorbex.Vantorel.Debug on the bus: what became of the last link, for people who find out why a link went where
/// it did, and what is installed. Answers only while debug mode is on, so that no other program can watch links behind
/// the user's back. No method takes arguments. A call with any changes nothing: the bus library
/// answers it with UnknownMethod or passes them over.
class DebugAdaptor : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.qorbex.Vantorel.Debug")

public:
    using Settings = std::function<const RulesStore&()>;
    using Rows = QList<QStringList>;

    /// The lists as they are now; each row is an id, a name and a location.
    struct Installed {
        std::function<Rows()> browsers;
        std::function<Rows()> apps;
    };

    /// `settings` is asked at each call, so that offering this does not load the settings yet.
    DebugAdaptor(QObject& object, Settings settings, const InterceptDebugStore& events, Installed installed);

public Q_SLOTS:
    /// Three empty values before the first link; AccessDenied while debug mode is off.
    QString LastEvent(const QDBusMessage& call, QStringList& sourceAppIDs, QString& decision);

    /// The browsers and the applications that are offered to the user; AccessDenied while debug mode is off.
    QList<QStringList> Browsers(const QDBusMessage& call);
    QList<QStringList> Applications(const QDBusMessage& call);

private:
    bool refuses(const QDBusMessage& call) const;

    Settings m_settings;
    const InterceptDebugStore& m_events;
    Installed m_installed;
};

} // namespace vantorel
