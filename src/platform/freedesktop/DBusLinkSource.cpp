#include "platform/freedesktop/DBusLinkSource.h"

#include "platform/freedesktop/ApplicationAdaptor.h"
#include "platform/freedesktop/BusNames.h"
#include "platform/freedesktop/LaunchContext.h"
#include "platform/freedesktop/ProcessApplications.h"
#include "routing/Link.h"

#include <QCoreApplication>
#include <QDBusConnectionInterface>

#include <utility>

namespace vantorel {

DBusLinkSource::DBusLinkSource(QDBusConnection bus, LaunchContext& context, ProcessApplications& applications)
    : m_bus(std::move(bus))
    , m_context(context)
    , m_applications(applications) { }

// The object is there before the name is: a link that waited for the name must find it.
void DBusLinkSource::start(Handlers handlers) {
    m_handlers = std::move(handlers);
    new ApplicationAdaptor(*this);
    m_bus.registerObject(kObjectPath, this, QDBusConnection::ExportAdaptors);
    m_bus.connect(QString(), QStringLiteral("/org/freedesktop/DBus/Local"),
                  QStringLiteral("org.freedesktop.DBus.Local"), QStringLiteral("Disconnected"), this,
                  SLOT(onDisconnected()));
}

// Qt holds back what arrives on the session's connection until the event loop starts. What arrives in that very moment
// overtakes what was held back, so the holding back has to end while there is nothing that could arrive yet.
bool DBusLinkSource::claimName() {
    QCoreApplication::sendPostedEvents();
    return m_bus.registerService(kBusName);
}

void DBusLinkSource::onDisconnected() {
    Q_EMIT busLost();
}

// Giving up the name waits for the bus to answer, by when every call that was sent to us before is in our queue.
void DBusLinkSource::stop() {
    if (!m_bus.isConnected())
        return;
    m_bus.unregisterService(kBusName);
    QCoreApplication::sendPostedEvents();
    m_bus.interface()->isServiceRegistered(kBusName); // another round trip, behind the replies to those calls
}

void DBusLinkSource::deliverArguments(const QStringList& uris) {
    if (uris.isEmpty())
        return;
    LaunchContext context{.activationToken = qgetenv("XDG_ACTIVATION_TOKEN"),
                          .startupID = qgetenv("DESKTOP_STARTUP_ID")};
    QMetaObject::invokeMethod(
        this,
        [this, uris, context] {
            deliver(uris, m_applications.applicationOf(QCoreApplication::applicationPid()), context);
        },
        Qt::QueuedConnection);
}

void DBusLinkSource::deliver(const QStringList& uris, const std::optional<QString>& senderAppID,
                             LaunchContext context) {
    m_context = std::move(context);
    for (const QString& text : uris) {
        const QByteArray uri = text.toUtf8();
        const auto link = Link::parse(uri);
        if (link && link->isWeb())
            m_handlers.getURL(uri, senderAppID);
        else if (uri.startsWith('/') || (link && link->isFile()))
            m_handlers.openFiles({uri});
        else
            m_handlers.openURLs({uri});
    }
    m_context = {};
}

bool DBusLinkSource::openSettings(LaunchContext context) {
    m_context = std::move(context);
    const bool isShown = m_handlers.openSettings();
    m_context = {};
    return isShown;
}

// Asked before the call is answered: the sender waits for the answer, and so is still there.
std::optional<QString> DBusLinkSource::senderApplication(const QString& busName) const {
    const QDBusReply<uint> process = m_bus.interface()->servicePid(busName);
    return process.isValid() ? m_applications.applicationOf(static_cast<pid_t>(process.value())) : std::nullopt;
}

} // namespace vantorel
