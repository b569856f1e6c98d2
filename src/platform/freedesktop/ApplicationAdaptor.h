#pragma once

#include <QDBusAbstractAdaptor>
#include <QDBusError>
#include <QDBusMessage>
#include <QStringList>
#include <QVariantMap>

namespace vantorel {

class DBusLinkSource;

/// org.freedesktop.Application on the bus, with links as the plain texts that they are.
///
/// Any program of the user can call, and none can make this one lose another's link. The bus itself sees to it that
/// texts are UTF-8 without a NUL, that values nest 64 levels at most and that a message has 128 MiB at most. A call
/// with other types than these, or of another method, is answered with UnknownMethod by the bus library and changes
/// nothing; file descriptors that come along are closed. What a caller wants no answer to gets none.
///
/// Of `platform_data` only the two tokens count (LaunchContext), where they are texts of 4096 characters at most;
/// anything else in there, however much and however deep, is passed over, so that no link is lost by it.
class ApplicationAdaptor : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")

public:
    explicit ApplicationAdaptor(DBusLinkSource& source);

public Q_SLOTS:
    /// Shows the settings window; an error when there is no display to show it on.
    void Activate(const QVariantMap& platform_data, const QDBusMessage& call);

    /// Routes every link, in order, before it is answered. Texts that are no links are passed over; none at all is
    /// fine. LimitsExceeded, and nothing is opened, for more than 10,000 links or more than 16 Mi characters in one
    /// call. A single link may have as many; what is too long for an argument of a program (128 KiB) is routed and
    /// recorded, and the launch fails with a line in the log.
    void Open(const QStringList& uris, const QVariantMap& platform_data, const QDBusMessage& call);

    /// "quit" ends the program; "settings" is `Activate`; others are answered with InvalidArgs. The parameter is passed
    /// over.
    void ActivateAction(const QString& action_name, const QVariantList& parameter, const QVariantMap& platform_data,
                        const QDBusMessage& call);

private:
    void refuse(const QDBusMessage& call, QDBusError::ErrorType type, const QString& reason) const;

    DBusLinkSource& m_source;
};

} // namespace vantorel
