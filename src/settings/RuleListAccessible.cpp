#include "settings/RuleListAccessible.h"

#include "settings/MatchTypeName.h"
#include "settings/RuleList.h"
#include "settings/RuleListModel.h"
#include "settings/RuleRow.h"

#include <QAccessibleWidget>
#include <QCoreApplication>
#include <QPersistentModelIndex>
#include <QPointer>

#include <algorithm>
#include <vector>

namespace vantorel {

namespace {

// Actions are called by these names in every language; what the user reads of them is translated.
constexpr const char* kEdit = QT_TRANSLATE_NOOP("RuleList", "Edit");
constexpr const char* kDelete = QT_TRANSLATE_NOOP("RuleList", "Delete");
constexpr const char* kMoveUp = QT_TRANSLATE_NOOP("RuleList", "Move Up");
constexpr const char* kMoveDown = QT_TRANSLATE_NOOP("RuleList", "Move Down");

// What an item and its check box have in common: a rule of a list, wherever it has moved to.
class Part : public QAccessibleInterface, public QAccessibleActionInterface {
public:
    Part(RuleList* list, QPersistentModelIndex index) : m_list(list), m_index(std::move(index)) { }

    bool isValid() const override { return m_list && m_index.isValid(); }
    QObject* object() const override { return nullptr; }
    void setText(QAccessible::Text, const QString&) override { }
    QAccessibleInterface* childAt(int, int) const override { return nullptr; }
    void* interface_cast(QAccessible::InterfaceType type) override {
        return type == QAccessible::ActionInterface ? static_cast<QAccessibleActionInterface*>(this) : nullptr;
    }
    QStringList keyBindingsForAction(const QString&) const override { return {}; }

    QRect rect() const override {
        if (!isValid())
            return {};
        const QRect place = placeInRow(m_list->rowRect(row()));
        return {m_list->viewport()->mapToGlobal(place.topLeft()), place.size()};
    }

    int row() const { return m_index.row(); }

protected:
    /// What it takes up of its row.
    virtual QRect placeInRow(const QRect& row) const { return row; }

    RuleList& list() const { return *m_list; }
    const Rule& rule() const { return m_list->model().rule(row()); }

    bool isInView() const {
        return m_list->isVisible() && m_list->viewport()->rect().intersects(m_list->rowRect(row()));
    }

private:
    QPointer<RuleList> m_list;
    QPersistentModelIndex m_index;
};

class SwitchPart : public Part {
public:
    SwitchPart(RuleList* list, const QPersistentModelIndex& index, QAccessibleInterface* item)
        : Part(list, index)
        , m_item(item) { }

    QAccessibleInterface* parent() const override { return m_item; }
    QAccessibleInterface* child(int) const override { return nullptr; }
    int childCount() const override { return 0; }
    int indexOfChild(const QAccessibleInterface*) const override { return -1; }
    QAccessible::Role role() const override { return QAccessible::CheckBox; }

    QString text(QAccessible::Text kind) const override {
        return isValid() && kind == QAccessible::Name ? list().model().title(row()) : QString();
    }

    QAccessible::State state() const override {
        QAccessible::State state;
        state.invalid = !isValid();
        if (!isValid())
            return state;
        state.checkable = true;
        state.checked = rule().isEnabled;
        state.offscreen = !isInView();
        return state;
    }

    QStringList actionNames() const override { return {toggleAction()}; }
    void doAction(const QString& action) override {
        if (isValid() && (action == toggleAction() || action == pressAction()))
            list().toggle(row());
    }

protected:
    QRect placeInRow(const QRect& row) const override { return RuleRow::switchSlot(row, list().layoutDirection()); }

private:
    QAccessibleInterface* m_item;
};

class ItemPart : public Part {
public:
    ItemPart(RuleList* list, const QPersistentModelIndex& index)
        : Part(list, index)
        , m_list(list)
        , m_switch(QAccessible::registerAccessibleInterface(new SwitchPart(list, index, this))) { }
    ~ItemPart() override { QAccessible::deleteAccessibleInterface(m_switch); }

    QAccessible::Id switchID() const { return m_switch; }

    QAccessibleInterface* parent() const override { return QAccessible::queryAccessibleInterface(m_list); }
    QAccessibleInterface* child(int index) const override {
        return index == 0 ? QAccessible::accessibleInterface(m_switch) : nullptr;
    }
    int childCount() const override { return 1; }
    int indexOfChild(const QAccessibleInterface* child) const override { return child == this->child(0) ? 0 : -1; }
    QAccessible::Role role() const override { return QAccessible::ListItem; }

    QString text(QAccessible::Text kind) const override {
        if (!isValid())
            return {};
        if (kind == QAccessible::Name)
            return list().model().title(row());
        if (kind != QAccessible::Description)
            return {};
        QStringList parts;
        if (const auto app = list().model().appName(row()))
            parts.append(*app);
        if (!rule().pattern.isEmpty())
            parts.append(QCoreApplication::translate("RuleList", "%1: %2", "match type and pattern")
                             .arg(matchTypeName(rule().matchType), rule().pattern));
        return QCoreApplication::translate("RuleList", "%1 → %2", "what a rule matches, and its browser")
            .arg(parts.join(QStringLiteral(" · ")), list().model().browserName(row()));
    }

    QAccessible::State state() const override {
        QAccessible::State state;
        state.invalid = !isValid();
        if (!isValid())
            return state;
        state.selectable = state.focusable = true;
        state.selected = list().isSelected(row());
        state.active = state.selected;
        state.focused = state.selected && list().hasFocus();
        state.offscreen = !isInView();
        return state;
    }

    QStringList actionNames() const override {
        QStringList names = {pressAction()};
        for (const char* const own : {kEdit, kDelete, kMoveUp, kMoveDown})
            names.append(QString::fromLatin1(own));
        return names << setFocusAction();
    }
    QString localizedActionName(const QString& action) const override {
        if (action == pressAction())
            return QCoreApplication::translate("RuleList", "Select");
        if (action == setFocusAction())
            return QAccessibleActionInterface::localizedActionName(action);
        return QCoreApplication::translate("RuleList", action.toLatin1().constData());
    }
    void doAction(const QString& action) override {
        if (!isValid())
            return;
        if (action == pressAction() || action == setFocusAction()) {
            list().select(row());
            list().setFocus();
        } else if (action == QLatin1StringView(kEdit)) {
            list().edit(row());
        } else if (action == QLatin1StringView(kDelete)) {
            list().remove(row());
        } else if (action == QLatin1StringView(kMoveUp)) {
            list().moveBy(row(), -1);
        } else if (action == QLatin1StringView(kMoveDown)) {
            list().moveBy(row(), 1);
        }
    }

private:
    RuleList* m_list;
    QAccessible::Id m_switch;
};

// Items are made when they are asked for, and follow their rules.
class ListAccessible : public QAccessibleWidget {
public:
    explicit ListAccessible(RuleList* list)
        : QAccessibleWidget(list, QAccessible::List)
        , m_list(list)
        , m_items(static_cast<std::size_t>(list->model().rowCount())) {
        const RuleListModel& model = list->model();
        QObject::connect(&model, &QAbstractItemModel::rowsInserted, &m_context,
                         [this](const QModelIndex&, int first, int last) {
                             m_items.insert(m_items.begin() + first,
                                            static_cast<std::size_t>(last) + 1 - static_cast<std::size_t>(first), 0);
                             tellOrder();
                         });
        QObject::connect(&model, &QAbstractItemModel::rowsRemoved, &m_context,
                         [this](const QModelIndex&, int first, int last) {
                             const auto begin = m_items.begin() + first, end = m_items.begin() + last + 1;
                             std::for_each(begin, end, forget);
                             m_items.erase(begin, end);
                             tellOrder();
                         });
        QObject::connect(&model, &QAbstractItemModel::rowsMoved, &m_context,
                         [this](const QModelIndex&, int first, int last, const QModelIndex&, int to) {
                             const auto begin = m_items.begin();
                             if (to < first)
                                 std::rotate(begin + to, begin + first, begin + last + 1);
                             else
                                 std::rotate(begin + first, begin + last + 1, begin + to);
                             tellOrder();
                         });
        QObject::connect(
            &model, &QAbstractItemModel::dataChanged, &m_context,
            [this](const QModelIndex& first, const QModelIndex& last) { tellData(first.row(), last.row()); });
    }
    ~ListAccessible() override { std::for_each(m_items.begin(), m_items.end(), forget); }

    int childCount() const override { return static_cast<int>(m_items.size()); }

    QAccessibleInterface* child(int index) const override {
        if (index < 0 || index >= childCount())
            return nullptr;
        QAccessible::Id& id = m_items[static_cast<std::size_t>(index)];
        if (id == 0)
            id = QAccessible::registerAccessibleInterface(new ItemPart(m_list, m_list->model().index(index)));
        return QAccessible::accessibleInterface(id);
    }

    int indexOfChild(const QAccessibleInterface* child) const override {
        const auto* const part = dynamic_cast<const ItemPart*>(child);
        return part && part->isValid() ? part->row() : -1;
    }

    QAccessibleInterface* childAt(int x, int y) const override {
        return child(m_list->rowAt(m_list->viewport()->mapFromGlobal(QPoint(x, y))));
    }

    QAccessibleInterface* focusChild() const override {
        return m_list->hasFocus() ? child(m_list->selectedRow()) : nullptr;
    }

private:
    static void forget(QAccessible::Id id) {
        if (id != 0)
            QAccessible::deleteAccessibleInterface(id);
    }

    void tellOrder() {
        QAccessibleEvent event(m_list, QAccessible::ObjectReorder);
        QAccessible::updateAccessibility(&event);
    }

    void tellData(int first, int last) {
        for (int row = first; row <= last; ++row) {
            const QAccessible::Id id = m_items[static_cast<std::size_t>(row)];
            auto* const item = id == 0 ? nullptr : dynamic_cast<ItemPart*>(QAccessible::accessibleInterface(id));
            if (!item)
                continue;
            QAccessibleEvent name(item, QAccessible::NameChanged);
            QAccessible::updateAccessibility(&name);
            QAccessible::State checked;
            checked.checked = true;
            QAccessibleStateChangeEvent state(item->child(0), checked);
            QAccessible::updateAccessibility(&state);
        }
    }

    RuleList* m_list;
    QObject m_context; // of the connections
    mutable std::vector<QAccessible::Id> m_items; // by row; 0 where none was asked for yet
};

QAccessibleInterface* makeAccessible(const QString& className, QObject* object) {
    if (className != QLatin1StringView("vantorel::RuleList"))
        return nullptr;
    return new ListAccessible(qobject_cast<RuleList*>(object));
}

} // namespace

void installRuleListAccessibility() {
    QAccessible::installFactory(makeAccessible);
}

} // namespace vantorel
