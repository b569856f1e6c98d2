#include "platform/freedesktop/DBusLinkSource.h"

#include "platform/freedesktop/ApplicationAdaptor.h"
#include "platform/freedesktop/BusNames.h"
#include "platform/freedesktop/LaunchContext.h"
#include "platform/freedesktop/ProcessApplications.h"
#include "routing/Link.h"

#include <QCoreApplication>
#include <QDBusConnectionInterface>
#include <QDBusUnixFileDescriptor>

#include <utility>

#include <poll.h>
#include <unistd.h>

namespace vantorel {

namespace {

constexpr auto kRound = "VANTOREL_ROUND";
const QString kBus = QStringLiteral("org.freedesktop.DBus");

// A descriptor of a process becomes readable when that ends.
bool hasEnded(const QDBusUnixFileDescriptor& process) {
    pollfd descriptor = {process.fileDescriptor(), POLLIN, 0};
    return poll(&descriptor, 1, 0) != 0;
}

std::optional<QString> idOf(const std::optional<ProcessApplication>& application) {
    return application ? std::optional(application->id) : std::nullopt;
}

} // namespace

DBusLinkSource::DBusLinkSource(QDBusConnection bus, LaunchContext& context, ProcessApplications& applications,
                               std::function<void()> linkIsComing)
    : m_bus(std::move(bus))
    , m_context(context)
    , m_applications(applications)
    , m_linkIsComing(std::move(linkIsComing)) { }

// The object is there before the name is: a link that waited for the name must find it.
void DBusLinkSource::start(Handlers handlers) {
    m_handlers = std::move(handlers);
    new ApplicationAdaptor(*this);
    m_bus.registerObject(kObjectPath, this, QDBusConnection::ExportAdaptors);
    ignoreSession();
    m_bus.connect(QString(), QStringLiteral("/org/freedesktop/DBus/Local"),
                  QStringLiteral("org.freedesktop.DBus.Local"), QStringLiteral("Disconnected"), this,
                  SLOT(onDisconnected()));
}

// Services that the bus starts are its children and inherit what it has.
void DBusLinkSource::ignoreSession() {
    const auto bus = static_cast<pid_t>(m_bus.interface()->servicePid(kBus).value());
    m_applications.endChainsAt(getpid());
    m_applications.endChainsAt(bus);
    m_applications.ignoreInheritanceOf(bus);
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

// Without links the session has started us, and applications inherit the same from it. With links an application has:
// what we have of it counts for these links, which are asked about at once, as long as who started us may be there.
void DBusLinkSource::deliverArguments(const QStringList& uris) {
    if (uris.isEmpty()) {
        m_applications.ignoreInheritanceOf(getpid());
        m_applications.ignoreInheritanceOf(getsid(0));
        return;
    }
    const LaunchContext context{.activationToken = qgetenv("XDG_ACTIVATION_TOKEN"),
                                .startupID = qgetenv("DESKTOP_STARTUP_ID")};
    QMetaObject::invokeMethod(
        this,
        [this, uris, context, sender = Sender{idOf(m_applications.applicationOf(getpid())), qgetenv(kRound)}] {
            m_context = context;
            deliver(uris, sender);
            m_context = {};
        },
        Qt::QueuedConnection);
}

void DBusLinkSource::open(const QStringList& uris, const QString& sender, LaunchContext context) {
    m_context = std::move(context);
    if (!uris.isEmpty())
        deliver(uris, senderOf(sender));
    m_context = {};
}

void DBusLinkSource::deliver(const QStringList& uris, const Sender& sender) {
    m_context.sender = sender.application;
    for (const QString& text : uris) {
        m_context.round = sender.round; // a launch may have changed it
        const QByteArray uri = text.toUtf8();
        const auto link = Link::parse(uri);
        if (link && link->isWeb())
            m_handlers.getURL(uri, sender.application);
        else if (uri.startsWith('/') || (link && link->isFile()))
            m_handlers.openFiles({uri});
        else
            m_handlers.openURLs({uri});
    }
}

bool DBusLinkSource::openSettings(LaunchContext context) {
    m_context = std::move(context);
    const bool isShown = m_handlers.openSettings();
    m_context = {};
    return isShown;
}

// Asked before the call is answered: a sender that waits for the answer is still there. One that does not wait may have
// ended, and its number may be that of another process by now. The bus has its descriptor, or, an older one, at least
// knows at the end whether the sender was connected all along.
//
// A second start is a sender like any other: its parents and its environment are what they are while it waits for us.
// Nothing in the call's own data is believed in their place; where /proc does not show it, it would be anyone's claim.
DBusLinkSource::Sender DBusLinkSource::senderOf(const QString& busName) const {
    QDBusMessage question = QDBusMessage::createMethodCall(kBus, QStringLiteral("/org/freedesktop/DBus"), kBus,
                                                           QStringLiteral("GetConnectionCredentials"));
    question.setArguments({busName});
    const QDBusReply<QVariantMap> credentials = m_bus.call(question);
    if (!credentials.isValid())
        return {};
    const auto id = static_cast<pid_t>(credentials.value().value(QStringLiteral("ProcessID")).toUInt());
    const ProcessOrigin origin = m_applications.originOf(id, kRound, m_linkIsComing);
    const Sender sender{idOf(origin.application), origin.variable};
    if (!sender.application && sender.round.isEmpty())
        return {};
    const auto process = credentials.value().value(QStringLiteral("ProcessFD")).value<QDBusUnixFileDescriptor>();
    const bool isGone = process.isValid() ? hasEnded(process) : !m_bus.interface()->isServiceRegistered(busName);
    return isGone ? Sender() : sender;
}

} // namespace vantorel
