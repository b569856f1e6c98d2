#pragma once

#include <QByteArray>
#include <QDBusVariant>
#include <QList>
#include <QMetaType>
#include <QString>
#include <QStringList>
#include <QVariantMap>

class QDBusArgument;

namespace vantorel {

// What StatusNotifierItem and com.canonical.dbusmenu have on the bus beyond plain values.

/// A picture of four bytes a pixel: alpha, red, green, blue.
struct StatusPixmap {
    int width = 0;
    int height = 0;
    QByteArray data;
};

struct StatusToolTip {
    QString iconName;
    QList<StatusPixmap> iconPixmap;
    QString title;
    QString text;
};

struct StatusMenuItem {
    int id = 0;
    QVariantMap properties;
};

struct StatusMenuLayout {
    int id = 0;
    QVariantMap properties;
    QList<StatusMenuLayout> children;
};

struct StatusMenuEvent {
    int id = 0;
    QString name;
    QDBusVariant data;
    uint timestamp = 0;
};

struct StatusMenuRemoval {
    int id = 0;
    QStringList properties;
};

/// Makes them known to the bus library; needed before an object with them is registered.
void registerStatusTypes();

QDBusArgument& operator<<(QDBusArgument& argument, const StatusPixmap& pixmap);
const QDBusArgument& operator>>(const QDBusArgument& argument, StatusPixmap& pixmap);
QDBusArgument& operator<<(QDBusArgument& argument, const StatusToolTip& toolTip);
const QDBusArgument& operator>>(const QDBusArgument& argument, StatusToolTip& toolTip);
QDBusArgument& operator<<(QDBusArgument& argument, const StatusMenuItem& item);
const QDBusArgument& operator>>(const QDBusArgument& argument, StatusMenuItem& item);
QDBusArgument& operator<<(QDBusArgument& argument, const StatusMenuLayout& layout);
const QDBusArgument& operator>>(const QDBusArgument& argument, StatusMenuLayout& layout);
QDBusArgument& operator<<(QDBusArgument& argument, const StatusMenuEvent& event);
const QDBusArgument& operator>>(const QDBusArgument& argument, StatusMenuEvent& event);
QDBusArgument& operator<<(QDBusArgument& argument, const StatusMenuRemoval& removal);
const QDBusArgument& operator>>(const QDBusArgument& argument, StatusMenuRemoval& removal);

} // namespace vantorel

Q_DECLARE_METATYPE(vantorel::StatusPixmap)
Q_DECLARE_METATYPE(vantorel::StatusToolTip)
Q_DECLARE_METATYPE(vantorel::StatusMenuItem)
Q_DECLARE_METATYPE(vantorel::StatusMenuLayout)
Q_DECLARE_METATYPE(vantorel::StatusMenuEvent)
Q_DECLARE_METATYPE(vantorel::StatusMenuRemoval)
