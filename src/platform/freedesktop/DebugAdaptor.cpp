#include "platform/freedesktop/DebugAdaptor.h"

#include "interception/InterceptDebugStore.h"
#include "routing/RulesStore.h"

#include <QDBusConnection>

namespace vantorel {

DebugAdaptor::DebugAdaptor(QObject& object, Settings settings, const InterceptDebugStore& events)
    : QDBusAbstractAdaptor(&object)
    , m_settings(std::move(settings))
    , m_events(events) { }

QString DebugAdaptor::LastEvent(const QDBusMessage& call, QStringList& sourceAppIDs, QString& decision) {
    if (!m_settings().debugModeEnabled()) {
        call.setDelayedReply(true);
        QDBusConnection::sessionBus().send(
            call.createErrorReply(QDBusError::AccessDenied, QStringLiteral("Debug mode is off")));
        return {};
    }
    const auto event = m_events.lastEvent().value_or(InterceptDebugEvent{});
    sourceAppIDs = event.sourceAppIDs;
    decision = event.decision;
    return event.url;
}

} // namespace vantorel
