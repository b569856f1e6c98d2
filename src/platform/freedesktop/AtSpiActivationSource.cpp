#include <gio/gio.h>

#include "platform/freedesktop/AtSpiActivationSource.h"

#include "platform/freedesktop/WindowApplications.h"

#include <QCoreApplication>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>

#include <limits>
#include <utility>
#include <vector>

namespace vantorel {

namespace {

constexpr int kMostAttempts = 6;
constexpr int kForever = std::numeric_limits<int>::max();
constexpr auto kDaemon = "org.freedesktop.DBus";
constexpr auto kDaemonPath = "/org/freedesktop/DBus";
constexpr auto kRegistry = "org.a11y.atspi.Registry";
constexpr auto kWindowEvents = "org.a11y.atspi.Event.Window";
constexpr auto kActivateEvent = "window:activate"; // as the registry calls them
constexpr auto kDeactivateEvent = "window:deactivate";

const QString kAccessibility = QStringLiteral("org.a11y.Bus");
const QString kSessionDaemon = QStringLiteral("org.freedesktop.DBus");
const QString kSessionDaemonPath = QStringLiteral("/org/freedesktop/DBus");

struct Freed {
    void operator()(GVariant* variant) const { g_variant_unref(variant); }
    void operator()(GError* error) const { g_error_free(error); }
};
using Variant = std::unique_ptr<GVariant, Freed>;
using Error = std::unique_ptr<GError, Freed>;

} // namespace

// A connection to the accessibility bus. It is made by GIO and not by Qt, which holds up all its connections, and
// whoever asks, until a new one is ready: a bus that is stopped would stop the links. Calls back from the event loop,
// and never after its end.
class AtSpiActivationSource::Bus {
public:
    Bus(AtSpiActivationSource& source, const QByteArray& address) : m_source(source) {
        const auto flags = static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT
                                                             | G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
        g_dbus_connection_new_for_address(
            address.constData(), flags, nullptr, m_cancellable,
            [](GObject*, GAsyncResult* result, void* self) {
                GError* error = nullptr;
                auto* const connection = g_dbus_connection_new_for_address_finish(result, &error);
                if (!isCancelled(Error(error)))
                    static_cast<Bus*>(self)->take(connection);
                else if (connection)
                    g_object_unref(connection);
            },
            this);
    }

    ~Bus() {
        g_cancellable_cancel(m_cancellable);
        g_object_unref(m_cancellable);
        if (!m_connection)
            return;
        for (const unsigned subscription : m_subscriptions)
            g_dbus_connection_signal_unsubscribe(m_connection, subscription);
        g_signal_handlers_disconnect_by_data(m_connection, this);
        for (const char* const event : {kActivateEvent, kDeactivateEvent})
            callRegistry("DeregisterEvent", event, nullptr);
        g_dbus_connection_flush(
            m_connection, nullptr,
            [](GObject* connection, GAsyncResult*, void*) {
                g_dbus_connection_close(G_DBUS_CONNECTION(connection), nullptr, nullptr, nullptr);
            },
            nullptr);
        g_object_unref(m_connection);
    }

    Bus(const Bus&) = delete;
    Bus& operator=(const Bus&) = delete;

    void askProcess(const QString& sender) {
        askDaemon(
            "GetConnectionUnixProcessID", sender.toUtf8().constData(), "(u)",
            [](GObject* connection, GAsyncResult* result, void* self) {
                GError* error = nullptr;
                const Variant answer(g_dbus_connection_call_finish(G_DBUS_CONNECTION(connection), result, &error));
                if (isCancelled(Error(error)))
                    return;
                guint32 process = 0;
                if (answer)
                    g_variant_get(answer.get(), "(u)", &process);
                static_cast<Bus*>(self)->m_source.takeProcess(process > 0 ? std::optional(static_cast<pid_t>(process))
                                                                          : std::nullopt);
            });
    }

private:
    static bool isCancelled(const Error& error) {
        return g_error_matches(error.get(), G_IO_ERROR, G_IO_ERROR_CANCELLED) != 0;
    }

    void take(GDBusConnection* connection) {
        if (!connection) {
            m_source.loseBus();
            return;
        }
        m_connection = connection;
        g_signal_connect(connection, "closed", G_CALLBACK(+[](GDBusConnection*, gboolean, GError*, void* self) {
                             static_cast<Bus*>(self)->m_source.loseBus();
                         }),
                         this);
        subscribe(nullptr, kWindowEvents, "Activate",
                  [](Bus& self, const Window& window, GVariant*) { self.m_source.onActivated(window); });
        subscribe(nullptr, kWindowEvents, "Deactivate",
                  [](Bus& self, const Window& window, GVariant*) { self.m_source.onDeactivated(window); });
        subscribe(kDaemon, kDaemon, "NameOwnerChanged",
                  [](Bus& self, const Window&, GVariant* arguments) { self.onOwnerChanged(arguments); });
        askDaemon("GetNameOwner", kRegistry, "(s)", [](GObject* object, GAsyncResult* result, void* self) {
            GError* error = nullptr;
            const Variant answer(g_dbus_connection_call_finish(G_DBUS_CONNECTION(object), result, &error));
            if (isCancelled(Error(error)))
                return;
            const char* owner = "";
            if (answer)
                g_variant_get(answer.get(), "(&s)", &owner);
            static_cast<Bus*>(self)->setRegistry(owner);
        });
    }

    using Handler = void (*)(Bus& self, const Window& from, GVariant* arguments);

    void subscribe(const char* sender, const char* interface, const char* member, Handler handler) {
        struct Subscription {
            Bus& bus;
            Handler handler;
        };
        m_subscriptions.push_back(g_dbus_connection_signal_subscribe(
            m_connection, sender, interface, member, nullptr, nullptr, G_DBUS_SIGNAL_FLAGS_NONE,
            [](GDBusConnection*, const char* from, const char* path, const char*, const char*, GVariant* arguments,
               void* data) {
                const auto& subscription = *static_cast<Subscription*>(data);
                subscription.handler(subscription.bus, {QString::fromUtf8(from), QString::fromUtf8(path)}, arguments);
            },
            new Subscription{*this, handler}, [](void* data) { delete static_cast<Subscription*>(data); }));
    }

    void askDaemon(const char* method, const char* name, const char* answer, GAsyncReadyCallback callback) {
        g_dbus_connection_call(m_connection, kDaemon, kDaemonPath, kDaemon, method, g_variant_new("(s)", name),
                               G_VARIANT_TYPE(answer), G_DBUS_CALL_FLAGS_NONE, kForever, m_cancellable, callback, this);
    }

    void onOwnerChanged(GVariant* arguments) {
        if (!g_variant_is_of_type(arguments, G_VARIANT_TYPE("(sss)")))
            return;
        const char *name = nullptr, *oldOwner = nullptr, *newOwner = nullptr;
        g_variant_get(arguments, "(&s&s&s)", &name, &oldOwner, &newOwner);
        if (QByteArrayView(name) == kRegistry)
            setRegistry(newOwner);
        else if (*newOwner == '\0')
            m_source.onGone(QString::fromUtf8(name));
    }

    // Applications send nothing that nobody has asked the registry for, and a registry that restarts knows of nobody.
    void setRegistry(const char* owner) {
        if (m_registry == owner)
            return;
        m_registry = owner;
        if (m_registry->isEmpty()) {
            m_source.onRegistry(false);
            return;
        }
        callRegistry("RegisterEvent", kDeactivateEvent, nullptr);
        callRegistry("RegisterEvent", kActivateEvent, [](GObject* object, GAsyncResult* result, void* self) {
            GError* error = nullptr;
            const Variant answer(g_dbus_connection_call_finish(G_DBUS_CONNECTION(object), result, &error));
            if (!isCancelled(Error(error)))
                static_cast<Bus*>(self)->m_source.onRegistry(answer != nullptr);
        });
    }

    void callRegistry(const char* method, const char* event, GAsyncReadyCallback callback) {
        if (!m_registry || m_registry->isEmpty())
            return;
        g_dbus_connection_call(m_connection, m_registry->constData(), "/org/a11y/atspi/registry", kRegistry, method,
                               g_variant_new("(s)", event), nullptr, G_DBUS_CALL_FLAGS_NO_AUTO_START, kForever,
                               callback ? m_cancellable : nullptr, callback, this);
    }

    AtSpiActivationSource& m_source;
    GCancellable* m_cancellable = g_cancellable_new();
    GDBusConnection* m_connection = nullptr; // absent until it is ready
    std::vector<unsigned> m_subscriptions;
    std::optional<QByteArray> m_registry; // its unique name; empty when there is none, absent until that is known
};

AtSpiActivationSource::AtSpiActivationSource(QDBusConnection session, QString ownBundleID, Identify identify,
                                             std::chrono::milliseconds firstRetry)
    : m_session(std::move(session))
    , m_ownBundleID(std::move(ownBundleID))
    , m_identify(std::move(identify))
    , m_firstRetry(firstRetry) {
    m_retry.setSingleShot(true);
    connect(&m_retry, &QTimer::timeout, this, &AtSpiActivationSource::askAddress);
}

AtSpiActivationSource::~AtSpiActivationSource() {
    AtSpiActivationSource::stop();
}

void AtSpiActivationSource::start(Activated activated) {
    m_activated = std::move(activated);
    m_session.connect(kSessionDaemon, kSessionDaemonPath, kSessionDaemon, QStringLiteral("NameOwnerChanged"),
                      {kAccessibility}, QString(), this, SLOT(onOwnerChanged(QString, QString, QString)));
    QDBusMessage question = QDBusMessage::createMethodCall(kSessionDaemon, kSessionDaemonPath, kSessionDaemon,
                                                           QStringLiteral("GetNameOwner"));
    question << kAccessibility;
    ask(question, &AtSpiActivationSource::takeOwner);
}

void AtSpiActivationSource::stop() {
    if (!m_activated)
        return;
    m_session.disconnect(kSessionDaemon, kSessionDaemonPath, kSessionDaemon, QStringLiteral("NameOwnerChanged"),
                         {kAccessibility}, QString(), this, SLOT(onOwnerChanged(QString, QString, QString)));
    m_activated = nullptr;
    m_retry.stop();
    m_question.reset();
    m_owner.clear();
    m_bus.reset();
    forgetWindow();
    setState(State::unknown);
}

void AtSpiActivationSource::ask(const QDBusMessage& question, Next next) {
    m_question = std::make_unique<QDBusPendingCallWatcher>(m_session.asyncCall(question, kForever));
    connect(m_question.get(), &QDBusPendingCallWatcher::finished, this, [this, next] {
        auto* const answered = m_question.release();
        answered->deleteLater(); // we have been called by it
        (this->*next)(answered->reply());
    });
}

void AtSpiActivationSource::takeOwner(const QDBusMessage& answer) {
    setOwner(answer.type() == QDBusMessage::ReplyMessage ? answer.arguments().value(0).toString() : QString());
}

void AtSpiActivationSource::onOwnerChanged(const QString&, const QString&, const QString& newOwner) {
    if (m_activated)
        setOwner(newOwner);
}

void AtSpiActivationSource::setOwner(const QString& owner) {
    m_retry.stop();
    m_question.reset();
    m_bus.reset();
    forgetWindow();
    m_owner = owner;
    m_failures = 0;
    if (m_owner.isEmpty())
        setState(State::absent);
    else
        askAddress();
}

// Of the one that is there, by its unique name, which nothing can be started under.
void AtSpiActivationSource::askAddress() {
    ask(QDBusMessage::createMethodCall(m_owner, QStringLiteral("/org/a11y/bus"), kAccessibility,
                                       QStringLiteral("GetAddress")),
        &AtSpiActivationSource::takeAddress);
}

void AtSpiActivationSource::takeAddress(const QDBusMessage& answer) {
    const QString address = answer.arguments().value(0).toString();
    if (answer.type() == QDBusMessage::ReplyMessage && !address.isEmpty())
        m_bus = std::make_unique<Bus>(*this, address.toUtf8());
    else
        loseBus();
}

void AtSpiActivationSource::loseBus() {
    m_bus.reset();
    forgetWindow();
    if (++m_failures < kMostAttempts)
        m_retry.start(m_firstRetry * (1 << (m_failures - 1)));
    setState(State::absent);
}

void AtSpiActivationSource::onRegistry(bool isThere) {
    if (isThere)
        m_failures = 0;
    else
        forgetWindow();
    setState(isThere ? State::present : State::absent);
}

void AtSpiActivationSource::onActivated(const Window& window) {
    m_active = window;
    m_frontmost.reset();
    if (!m_asked)
        askProcess();
}

void AtSpiActivationSource::onDeactivated(const Window& window) {
    if (m_active == window)
        forgetWindow();
}

void AtSpiActivationSource::onGone(const QString& sender) {
    if (m_active && m_active->sender == sender)
        forgetWindow();
}

void AtSpiActivationSource::askProcess() {
    m_asked = m_active->sender;
    m_bus->askProcess(*m_asked);
}

// Of windows that are activated faster than the bus answers only the last one counts.
void AtSpiActivationSource::takeProcess(std::optional<pid_t> process) {
    const bool isCurrent = m_active && m_active->sender == m_asked;
    m_asked.reset();
    if (!m_active)
        return;
    if (!isCurrent) {
        askProcess();
        return;
    }
    if (process == static_cast<pid_t>(QCoreApplication::applicationPid()))
        m_frontmost = m_ownBundleID;
    else if (process)
        m_frontmost = m_identify(
            {.gtkApplicationID = {}, .kdeDesktopFile = {}, .instance = {}, .className = {}, .process = process});
    m_activated(m_frontmost);
}

void AtSpiActivationSource::forgetWindow() {
    m_active.reset();
    m_frontmost.reset();
    if (!m_bus)
        m_asked.reset();
}

} // namespace vantorel
