#pragma once

#include "platform/LinkSource.h"

#include <QDBusConnection>
#include <QObject>
#include <QStringList>

#include <functional>
#include <optional>

namespace vantorel {

struct LaunchContext;
class ProcessApplications;

/// Links from the session bus, through org.freedesktop.Application, and from the arguments of this program.
///
/// http and https links are web links, absolute paths and file: links are files, everything else is handed over as a
/// link of another scheme. While a link or a wish to see the settings is being handled, the launch context holds what
/// its sender gave along.
class DBusLinkSource : public QObject, public LinkSource {
    Q_OBJECT

public:
    /// The context and the look-up must outlive the source. `linkIsComing` is called as soon as there is a link and its
    /// context, while its sender is still being looked at.
    DBusLinkSource(QDBusConnection bus, LaunchContext& context, ProcessApplications& applications,
                   std::function<void()> linkIsComing);

    /// Puts the object on the bus; the name is requested by `claimName()`.
    void start(Handlers handlers) override;
    void stop() override;

    /// Takes the bus name, so that links come to this process. False when another process has it.
    bool claimName();

    /// Hands over links that this program was started with, once the event loop runs and before any other.
    void deliverArguments(const QStringList& uris);

    /// Hands over that the user wants to see the settings; false when they cannot be shown.
    bool openSettings(LaunchContext context);

Q_SIGNALS:
    /// The bus went away: the session has ended.
    void busLost();

private Q_SLOTS:
    void onDisconnected();

private:
    friend class ApplicationAdaptor;

    /// What is known of who sent a link.
    struct Sender {
        std::optional<QString> application;
        QByteArray round; ///< LaunchContext::round
    };

    void open(const QStringList& uris, const QString& sender, LaunchContext context);
    void deliver(const QStringList& uris, const Sender& sender);
    void ignoreSession();
    Sender senderOf(const QString& busName) const;

    QDBusConnection m_bus;
    LaunchContext& m_context;
    ProcessApplications& m_applications;
    std::function<void()> m_linkIsComing;
    Handlers m_handlers;
};

} // namespace vantorel
