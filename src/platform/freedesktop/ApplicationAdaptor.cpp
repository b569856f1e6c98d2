#include "platform/freedesktop/ApplicationAdaptor.h"

#include "platform/freedesktop/BusNames.h"
#include "platform/freedesktop/DBusLinkSource.h"
#include "platform/freedesktop/LaunchContext.h"

#include <numeric>

namespace vantorel {

namespace {

// Each link becomes a process of a quarter of a MiB that waits for its turn with two open descriptors; so many take a
// few GiB and stay below all usual limits.
constexpr qsizetype kMostLinks = 10'000;
// Takes half a second to route. No program can be given more than 128 KiB in one argument, so it is many links, too.
constexpr qsizetype kMostText = 16 << 20;
// Real ones have a hundred characters. What is larger than an argument would keep the browser from being started.
constexpr qsizetype kLongestToken = 4096;
constexpr qsizetype kLongestQuote = 64;

QByteArray tokenIn(const QVariantMap& platformData, const QString& key) {
    const QVariant value = platformData.value(key);
    const bool isToken = value.typeId() == QMetaType::QString && value.toString().size() <= kLongestToken;
    return isToken ? value.toString().toUtf8() : QByteArray();
}

LaunchContext contextOf(const QVariantMap& platformData) {
    return {.activationToken = tokenIn(platformData, kActivationTokenKey),
            .startupID = tokenIn(platformData, kStartupIDKey)};
}

bool isTooMuch(const QStringList& uris) {
    const auto size = std::accumulate(uris.begin(), uris.end(), qsizetype{0},
                                      [](qsizetype sum, const QString& uri) { return sum + uri.size(); });
    return uris.size() > kMostLinks || size > kMostText;
}

} // namespace

ApplicationAdaptor::ApplicationAdaptor(DBusLinkSource& source) : QDBusAbstractAdaptor(&source), m_source(source) { }

void ApplicationAdaptor::Activate(const QVariantMap& platform_data, const QDBusMessage& call) {
    if (!m_source.openSettings(contextOf(platform_data)))
        refuse(call, QDBusError::NotSupported, QStringLiteral("There is no display to show the settings on"));
}

void ApplicationAdaptor::Open(const QStringList& uris, const QVariantMap& platform_data, const QDBusMessage& call) {
    if (isTooMuch(uris)) {
        refuse(call, QDBusError::LimitsExceeded, QStringLiteral("These are too many links for one call"));
        return;
    }
    m_source.open(uris, call.service(), contextOf(platform_data));
}

void ApplicationAdaptor::ActivateAction(const QString& action_name, const QVariantList&,
                                        const QVariantMap& platform_data, const QDBusMessage& call) {
    if (action_name == u"quit")
        m_source.m_handlers.quit();
    else if (action_name == u"settings")
        Activate(platform_data, call);
    else
        refuse(call, QDBusError::InvalidArgs,
               QStringLiteral("There is no action \"") + action_name.left(kLongestQuote) + u'"');
}

void ApplicationAdaptor::refuse(const QDBusMessage& call, QDBusError::ErrorType type, const QString& reason) const {
    call.setDelayedReply(true);
    if (call.isReplyRequired())
        m_source.m_bus.send(call.createErrorReply(type, reason));
}

} // namespace vantorel
