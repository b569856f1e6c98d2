#include "platform/freedesktop/DebugAdaptor.h"

#include "interception/InterceptDebugStore.h"
#include "routing/RulesStore.h"

#include <QDBusConnection>
#include <QDBusMetaType>

namespace vantorel {

DebugAdaptor::DebugAdaptor(QObject& object, Settings settings, const InterceptDebugStore& events, Installed installed)
    : QDBusAbstractAdaptor(&object)
    , m_settings(std::move(settings))
    , m_events(events)
    , m_installed(std::move(installed)) {
    qDBusRegisterMetaType<QList<QStringList>>();
}

QString DebugAdaptor::LastEvent(const QDBusMessage& call, QStringList& sourceAppIDs, QString& decision) {
    if (refuses(call))
        return {};
    const auto event = m_events.lastEvent().value_or(InterceptDebugEvent{});
    sourceAppIDs = event.sourceAppIDs;
    decision = event.decision;
    return event.url;
}

QList<QStringList> DebugAdaptor::Browsers(const QDBusMessage& call) {
    return refuses(call) ? Rows() : m_installed.browsers();
}

QList<QStringList> DebugAdaptor::Applications(const QDBusMessage& call) {
    return refuses(call) ? Rows() : m_installed.apps();
}

bool DebugAdaptor::refuses(const QDBusMessage& call) const {
    if (m_settings().debugModeEnabled())
        return false;
    call.setDelayedReply(true);
    if (call.isReplyRequired())
        QDBusConnection::sessionBus().send(
            call.createErrorReply(QDBusError::AccessDenied, QStringLiteral("Debug mode is off")));
    return true;
}

} // namespace vantorel
