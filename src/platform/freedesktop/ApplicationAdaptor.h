#pragma once

#include <QDBusAbstractAdaptor>
#include <QDBusError>
#include <QDBusMessage>
#include <QStringList>
#include <QVariantMap>

namespace vantorel {

class DBusLinkSource;

/// org.freedesktop.Application on the bus, with links as the plain texts that they are. A call with other arguments
/// than these is answered with an error by the bus library and changes nothing.
class ApplicationAdaptor : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")

public:
    explicit ApplicationAdaptor(DBusLinkSource& source);

public Q_SLOTS:
    /// Shows the settings window; an error when there is no display to show it on.
    void Activate(const QVariantMap& platform_data, const QDBusMessage& call);

    /// Routes every link, in order, before it is answered.
    void Open(const QStringList& uris, const QVariantMap& platform_data, const QDBusMessage& call);

    /// "quit" ends the program; "settings" is `Activate`; others are answered with an error.
    void ActivateAction(const QString& action_name, const QVariantList& parameter, const QVariantMap& platform_data,
                        const QDBusMessage& call);

private:
    void refuse(const QDBusMessage& call, QDBusError::ErrorType type, const QString& reason) const;

    DBusLinkSource& m_source;
};

} // namespace vantorel
