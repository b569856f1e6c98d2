#pragma once

#include "platform/StatusItem.h"
#include "platform/freedesktop/StatusTypes.h"

#include <QDBusContext>

namespace vantorel {

/// The menu at the icon, drawn by the bar: com.canonical.dbusmenu. The root has the id 0, its lines count from 1. The
/// entries are asked for whenever a bar asks for them. Main thread only.
class StatusNotifierMenu : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.canonical.dbusmenu")
    Q_PROPERTY(uint Version READ version CONSTANT)
    Q_PROPERTY(QString Status READ status CONSTANT)
    Q_PROPERTY(QString TextDirection READ textDirection)
    Q_PROPERTY(QStringList IconThemePath READ iconThemePath CONSTANT)

public:
    void setEntries(std::function<QList<StatusItem::Entry>()> entries) { m_source = std::move(entries); }

public Q_SLOTS:
    Q_SCRIPTABLE uint GetLayout(int parentId, int recursionDepth, const QStringList& propertyNames,
                                vantorel::StatusMenuLayout& layout);
    Q_SCRIPTABLE QList<vantorel::StatusMenuItem> GetGroupProperties(const QList<int>& ids,
                                                                    const QStringList& propertyNames);
    Q_SCRIPTABLE QDBusVariant GetProperty(int id, const QString& name);
    Q_SCRIPTABLE void Event(int id, const QString& eventId, const QDBusVariant& data, uint timestamp);
    Q_SCRIPTABLE QList<int> EventGroup(const QList<vantorel::StatusMenuEvent>& events);
    Q_SCRIPTABLE bool AboutToShow(int id);
    Q_SCRIPTABLE QList<int> AboutToShowGroup(const QList<int>& ids, QList<int>& idErrors);

Q_SIGNALS:
    Q_SCRIPTABLE void ItemsPropertiesUpdated(const QList<vantorel::StatusMenuItem>& updatedProps,
                                             const QList<vantorel::StatusMenuRemoval>& removedProps);
    Q_SCRIPTABLE void LayoutUpdated(uint revision, int parent);
    Q_SCRIPTABLE void ItemActivationRequested(int id, uint timestamp);

private:
    uint version() const { return 3; }
    QString status() const;
    QString textDirection() const;
    QStringList iconThemePath() const { return {}; }

    void load();
    bool refresh();
    bool has(int id) const;
    bool take(int id, const QString& event);
    QVariantMap properties(int id) const;
    void refuse(int id);

    std::function<QList<StatusItem::Entry>()> m_source;
    QList<StatusItem::Entry> m_entries; // as they were asked for last
    uint m_revision = 0; // 0 until they are asked for
};

} // namespace vantorel
