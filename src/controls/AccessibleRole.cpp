#include "controls/AccessibleRole.h"

#include <QAccessibleWidget>
#include <QHash>
#include <QWidget>

namespace vantorel {

namespace {

QHash<QString, QAccessible::Role>& roles() {
    static QHash<QString, QAccessible::Role> byClass;
    return byClass;
}

QAccessibleInterface* makeAccessible(const QString& className, QObject* object) {
    const auto role = roles().constFind(className);
    return role == roles().constEnd() ? nullptr : new QAccessibleWidget(qobject_cast<QWidget*>(object), *role);
}

} // namespace

void setAccessibleRole(const QMetaObject& widgetClass, QAccessible::Role role) {
    QAccessible::installFactory(makeAccessible);
    roles().insert(QString::fromLatin1(widgetClass.className()), role);
}

} // namespace vantorel
