#pragma once

#include <QDBusAbstractAdaptor>
#include <QDBusMessage>
#include <QStringList>

#include <functional>

namespace vantorel {

class InterceptDebugStore;
class RulesStore;

/// com.qorbex.Vantorel.Debug on the bus: what became of the last link, for people who find out why a link went where
/// it did. Answers only while debug mode is on, so that no other program can watch links behind the user's back.
class DebugAdaptor : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.qorbex.Vantorel.Debug")

public:
    using Settings = std::function<const RulesStore&()>;

    /// `settings` is asked at each call, so that offering this does not load the settings yet.
    DebugAdaptor(QObject& object, Settings settings, const InterceptDebugStore& events);

public Q_SLOTS:
    /// Three empty values before the first link; AccessDenied while debug mode is off.
    QString LastEvent(const QDBusMessage& call, QStringList& sourceAppIDs, QString& decision);

private:
    Settings m_settings;
    const InterceptDebugStore& m_events;
};

} // namespace vantorel
