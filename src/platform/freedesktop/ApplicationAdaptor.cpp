#include "platform/freedesktop/ApplicationAdaptor.h"

#include "platform/freedesktop/BusNames.h"
#include "platform/freedesktop/DBusLinkSource.h"
#include "platform/freedesktop/LaunchContext.h"

namespace vantorel {

ApplicationAdaptor::ApplicationAdaptor(DBusLinkSource& source) : QDBusAbstractAdaptor(&source), m_source(source) { }

void ApplicationAdaptor::Activate(const QVariantMap&, const QDBusMessage& call) {
    refuse(call, QDBusError::NotSupported, QStringLiteral("This version has no settings window"));
}

void ApplicationAdaptor::Open(const QStringList& uris, const QVariantMap& platform_data, const QDBusMessage& call) {
    m_source.deliver(uris, m_source.senderApplication(call.service()),
                     {.activationToken = platform_data.value(kActivationTokenKey).toByteArray(),
                      .startupID = platform_data.value(kStartupIDKey).toByteArray()});
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
