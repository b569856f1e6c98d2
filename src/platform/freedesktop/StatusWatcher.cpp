#include "platform/freedesktop/StatusWatcher.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusVariant>

#include <limits>
#include <utility>

namespace vantorel {

namespace {

const QString kWatcher = QStringLiteral("org.kde.StatusNotifierWatcher");
const QString kPath = QStringLiteral("/StatusNotifierWatcher");
const QString kBus = QStringLiteral("org.freedesktop.DBus");
const QString kBusPath = QStringLiteral("/org/freedesktop/DBus");

// A watcher that is busy starting the session gets this long before another kind of bar is tried.
constexpr int kMomentMs = 3000;
// One that is stopped answers when it goes on.
constexpr int kForever = std::numeric_limits<int>::max();

bool isError(const QDBusMessage& answer) {
    return answer.type() != QDBusMessage::ReplyMessage;
}

} // namespace

StatusWatcher::StatusWatcher(QDBusConnection bus, QString itemPath)
    : m_bus(std::move(bus))
    , m_itemPath(std::move(itemPath)) { }

void StatusWatcher::start() {
    m_bus.connect(kBus, kBusPath, kBus, QStringLiteral("NameOwnerChanged"), {kWatcher}, QString(), this,
                  SLOT(onOwnerChanged(QString, QString, QString)));
    QDBusMessage question = QDBusMessage::createMethodCall(kBus, kBusPath, kBus, QStringLiteral("GetNameOwner"));
    question << kWatcher;
    m_nameQuestion = ask(question, kForever, [this](const QDBusMessage& answer) {
        setOwner(isError(answer) ? QString() : answer.arguments().value(0).toString());
    });
}

void StatusWatcher::onOwnerChanged(const QString&, const QString&, const QString& newOwner) {
    m_nameQuestion.reset();
    setOwner(newOwner);
}

// By its unique name from here on: nothing is started under that, and nobody else answers to it.
void StatusWatcher::setOwner(const QString& owner) {
    const QString registered = QStringLiteral("StatusNotifierHostRegistered");
    const QString unregistered = QStringLiteral("StatusNotifierHostUnregistered");
    if (!m_owner.isEmpty()) {
        follow(registered, false);
        follow(unregistered, false);
    }
    m_registration.reset();
    m_hostsQuestion.reset();
    m_isRefused = false;
    m_owner = owner;
    if (m_owner.isEmpty()) {
        setHosts(Hosts::none);
        return;
    }
    follow(registered, true);
    follow(unregistered, true);
    registerItem();
    askForHosts();
}

void StatusWatcher::follow(const QString& signal, bool isWanted) {
    if (isWanted)
        m_bus.connect(m_owner, kPath, kWatcher, signal, this, SLOT(askForHosts()));
    else
        m_bus.disconnect(m_owner, kPath, kWatcher, signal, this, SLOT(askForHosts()));
}

// By its path: the watcher takes our unique name from the call, so that no name has to be asked for first.
void StatusWatcher::registerItem() {
    QDBusMessage call =
        QDBusMessage::createMethodCall(m_owner, kPath, kWatcher, QStringLiteral("RegisterStatusNotifierItem"));
    call << m_itemPath;
    m_registration = ask(call, kForever, [this](const QDBusMessage& answer) {
        m_isRefused = isError(answer);
        if (m_isRefused)
            setHosts(Hosts::none);
    });
}

void StatusWatcher::askForHosts() {
    askForHosts(kMomentMs);
}

void StatusWatcher::askForHosts(int patience) {
    QDBusMessage question = QDBusMessage::createMethodCall(
        m_owner, kPath, QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
    question << kWatcher << QStringLiteral("IsStatusNotifierHostRegistered");
    m_hostsQuestion = ask(question, patience, [this, patience](const QDBusMessage& answer) {
        const bool isThere = !isError(answer) && !m_isRefused
            && answer.arguments().value(0).value<QDBusVariant>().variant() == QVariant(true);
        // A bus ends a question that took too long with this error.
        if (answer.errorName() == QDBusError::errorString(QDBusError::NoReply) && patience != kForever)
            askForHosts(kForever);
        setHosts(isThere ? Hosts::some : Hosts::none);
    });
}

StatusWatcher::Question StatusWatcher::ask(const QDBusMessage& question, int patience, const Next& next) {
    Question watcher(new QDBusPendingCallWatcher(m_bus.asyncCall(question, patience), this));
    connect(watcher.get(), &QDBusPendingCallWatcher::finished, this,
            [next](const QDBusPendingCallWatcher* finished) { next(finished->reply()); });
    return watcher;
}

void StatusWatcher::GiveUp::operator()(QDBusPendingCallWatcher* question) const {
    question->disconnect();
    question->deleteLater();
}

void StatusWatcher::setHosts(Hosts hosts) {
    if (std::exchange(m_hosts, hosts) != hosts)
        Q_EMIT hostsChanged();
}

} // namespace vantorel
