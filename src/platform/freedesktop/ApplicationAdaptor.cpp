#include "platform/freedesktop/ApplicationAdaptor.h"

#include "platform/freedesktop/BusNames.h"
#include "platform/freedesktop/DBusLinkSource.h"
#include "platform/freedesktop/LaunchContext.h"

namespace vantorel {

namespace {

LaunchContext contextOf(const QVariantMap& platformData) {
    return {.activationToken = platformData.value(kActivationTokenKey).toByteArray(),
            .startupID = platformData.value(kStartupIDKey).toByteArray()};
}

} // namespace

ApplicationAdaptor::ApplicationAdaptor(DBusLinkSource& source) : QDBusAbstractAdaptor(&source), m_source(source) { }

void ApplicationAdaptor::Activate(const QVariantMap& platform_data, const QDBusMessage& call) {
    if (!m_source.openSettings(contextOf(platform_data)))
        refuse(call, QDBusError::NotSupported, QStringLiteral("There is no display to show the settings on"));
}

void ApplicationAdaptor::Open(const QStringList& uris, const QVariantMap& platform_data, const QDBusMessage& call) {
    m_source.deliver(uris, m_source.senderApplication(call.service()), contextOf(platform_data));
}

void ApplicationAdaptor::ActivateAction(const QString& action_name, const QVariantList&,
                                        const QVariantMap& platform_data, const QDBusMessage& call) {
    if (action_name == u"quit")
        m_source.m_handlers.quit();
    else if (action_name == u"settings")
        Activate(platform_data, call);
    else
        refuse(call, QDBusError::InvalidArgs, QStringLiteral("There is no action \"") + action_name + u'"');
}

void ApplicationAdaptor::refuse(const QDBusMessage& call, QDBusError::ErrorType type, const QString& reason) const {
    call.setDelayedReply(true);
    m_source.m_bus.send(call.createErrorReply(type, reason));
}

} // namespace vantorel
