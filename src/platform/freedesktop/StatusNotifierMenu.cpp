#include "platform/freedesktop/StatusNotifierMenu.h"

#include <QDBusError>
#include <QGuiApplication>

#include <algorithm>

namespace vantorel {

namespace {

constexpr int kRoot = 0;

// An underscore would mark the letter behind it.
QString labelOf(QString title) {
    return title.replace(u'_', QStringLiteral("__"));
}

QVariantMap chosen(const QVariantMap& properties, const QStringList& names) {
    if (names.isEmpty())
        return properties;
    QVariantMap some;
    for (auto property = properties.begin(); property != properties.end(); ++property) {
        if (names.contains(property.key()))
            some.insert(property.key(), property.value());
    }
    return some;
}

} // namespace

QString StatusNotifierMenu::status() const {
    return QStringLiteral("normal");
}

QString StatusNotifierMenu::textDirection() const {
    return QGuiApplication::isRightToLeft() ? QStringLiteral("rtl") : QStringLiteral("ltr");
}

// A bar may ask for lines before it has asked for the layout.
void StatusNotifierMenu::load() {
    if (m_revision == 0)
        refresh();
}

// Whether the menu is another one than before.
bool StatusNotifierMenu::refresh() {
    const QList<StatusItem::Entry> before = std::move(m_entries);
    m_entries = m_source ? m_source() : QList<StatusItem::Entry>();
    if (m_revision > 0
        && std::ranges::equal(before, m_entries, {}, &StatusItem::Entry::title, &StatusItem::Entry::title))
        return false;
    ++m_revision;
    return true;
}

bool StatusNotifierMenu::has(int id) const {
    return id >= kRoot && id <= m_entries.size();
}

QVariantMap StatusNotifierMenu::properties(int id) const {
    if (id == kRoot)
        return {{QStringLiteral("children-display"), QStringLiteral("submenu")}};
    return {{QStringLiteral("type"), QStringLiteral("standard")},
            {QStringLiteral("label"), labelOf(m_entries.at(id - 1).title)},
            {QStringLiteral("enabled"), true},
            {QStringLiteral("visible"), true}};
}

void StatusNotifierMenu::refuse(int id) {
    sendErrorReply(QDBusError::InvalidArgs, QStringLiteral("The menu has no line %1").arg(id));
}

uint StatusNotifierMenu::GetLayout(int parentId, int recursionDepth, const QStringList& propertyNames,
                                   StatusMenuLayout& layout) {
    refresh();
    if (!has(parentId)) {
        refuse(parentId);
        return 0;
    }
    layout = {.id = parentId, .properties = chosen(properties(parentId), propertyNames), .children = {}};
    for (int id = 1; parentId == kRoot && recursionDepth != 0 && id <= m_entries.size(); ++id)
        layout.children.append({.id = id, .properties = chosen(properties(id), propertyNames), .children = {}});
    return m_revision;
}

QList<StatusMenuItem> StatusNotifierMenu::GetGroupProperties(const QList<int>& ids, const QStringList& propertyNames) {
    load();
    QList<StatusMenuItem> items;
    const auto append = [&](int id) { items.append({id, chosen(properties(id), propertyNames)}); };
    if (ids.isEmpty()) {
        for (int id = kRoot; id <= m_entries.size(); ++id)
            append(id);
        return items;
    }
    // Each line once, however often it is asked for.
    for (int id = kRoot; id <= m_entries.size(); ++id) {
        if (ids.contains(id))
            append(id);
    }
    if (items.isEmpty())
        refuse(ids.constFirst());
    return items;
}

QDBusVariant StatusNotifierMenu::GetProperty(int id, const QString& name) {
    load();
    const QVariant value = has(id) ? properties(id).value(name) : QVariant();
    if (!has(id))
        refuse(id);
    else if (!value.isValid())
        sendErrorReply(QDBusError::UnknownProperty, QStringLiteral("Lines of the menu have no such property"));
    return QDBusVariant(value.isValid() ? value : QString());
}

// False where there is no such line. The bar has its answer before the action begins.
bool StatusNotifierMenu::take(int id, const QString& event) {
    load();
    if (!has(id))
        return false;
    if (event == u"clicked" && id != kRoot)
        QMetaObject::invokeMethod(this, m_entries.at(id - 1).action, Qt::QueuedConnection);
    return true;
}

void StatusNotifierMenu::Event(int id, const QString& eventId, const QDBusVariant&, uint) {
    if (!take(id, eventId))
        refuse(id);
}

QList<int> StatusNotifierMenu::EventGroup(const QList<StatusMenuEvent>& events) {
    QList<int> unknown;
    for (const StatusMenuEvent& event : events) {
        if (!take(event.id, event.name))
            unknown.append(event.id);
    }
    if (!events.isEmpty() && unknown.size() == events.size())
        refuse(unknown.constFirst());
    return unknown;
}

bool StatusNotifierMenu::AboutToShow(int id) {
    const bool isOther = refresh();
    if (!has(id))
        refuse(id);
    if (isOther)
        Q_EMIT LayoutUpdated(m_revision, kRoot);
    return isOther;
}

QList<int> StatusNotifierMenu::AboutToShowGroup(const QList<int>& ids, QList<int>& idErrors) {
    const bool isOther = refresh();
    QList<int> updates;
    for (const int id : ids) {
        if (!has(id))
            idErrors.append(id);
        else if (isOther && id == kRoot && updates.isEmpty())
            updates.append(id);
    }
    if (!ids.isEmpty() && idErrors.size() == ids.size())
        refuse(ids.constFirst());
    if (isOther)
        Q_EMIT LayoutUpdated(m_revision, kRoot);
    return updates;
}

} // namespace vantorel
