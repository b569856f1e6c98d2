#include "settings/PickerModel.h"

#include "settings/RowDiff.h"

#include <QGuiApplication>
#include <QIconEngine>
#include <QPainter>
#include <QPalette>
#include <QSet>

#include <algorithm>

namespace vantorel {

namespace {

QStringList idsOf(const QList<PickerModel::Entry>& entries) {
    QStringList ids;
    ids.reserve(entries.size());
    for (const PickerModel::Entry& entry : entries)
        ids.append(entry.id);
    return ids;
}

QList<PickerModel::Entry> withDistinctIDs(const QList<PickerModel::Entry>& entries) {
    QList<PickerModel::Entry> result;
    result.reserve(entries.size());
    QSet<QString> seen = {QString()};
    for (const PickerModel::Entry& entry : entries) {
        if (!seen.contains(entry.id))
            result.append(entry);
        seen.insert(entry.id);
    }
    return result;
}

/// Makes the icon when it is first painted. Asking for the decoration of a line is not enough for that: QComboBox does
/// so for every line each time it opens.
class LateIconEngine : public QIconEngine {
public:
    LateIconEngine(QString name, PickerModel::MakeIcon make) : m_name(std::move(name)), m_make(std::move(make)) { }

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State state) override {
        icon().paint(painter, rect, Qt::AlignCenter, untinted(mode), state);
    }
    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override {
        return icon().pixmap(size, 1, untinted(mode), state); // the size is in pixels of the device
    }
    QIconEngine* clone() const override { return new LateIconEngine(*this); }

private:
    // The toolkit lays the accent over the icon of a chosen line, which then is no longer that of the application.
    static QIcon::Mode untinted(QIcon::Mode mode) { return mode == QIcon::Selected ? QIcon::Normal : mode; }

    const QIcon& icon() {
        if (m_make)
            m_icon = std::exchange(m_make, {})(m_name);
        return m_icon;
    }

    QString m_name;
    PickerModel::MakeIcon m_make; // empty once it was called
    QIcon m_icon;
};

} // namespace

PickerModel::PickerModel(QString placeholder, MakeIcon makeIcon, QObject* parent)
    : QAbstractListModel(parent)
    , m_placeholder(std::move(placeholder))
    , m_makeIcon(std::move(makeIcon)) { }

void PickerModel::setEntries(const QList<Entry>& entries) {
    struct Rows {
        PickerModel& model;
        const QList<Entry>& entries;

        void remove(qsizetype first, qsizetype count) {
            const qsizetype row = kFirstEntryRow + first;
            model.beginRemoveRows({}, row, row + count - 1);
            model.m_entries.remove(first, count);
            model.endRemoveRows();
        }
        void move(qsizetype from, qsizetype to) {
            const qsizetype row = kFirstEntryRow + from;
            model.beginMoveRows({}, row, row, {}, kFirstEntryRow + (to > from ? to + 1 : to));
            model.m_entries.move(from, to);
            model.endMoveRows();
        }
        void insert(qsizetype first, qsizetype count) {
            const qsizetype row = kFirstEntryRow + first;
            model.beginInsertRows({}, row, row + count - 1);
            model.m_entries.insert(first, count, Entry());
            std::copy_n(entries.begin() + first, count, model.m_entries.begin() + first);
            model.endInsertRows();
        }
    };
    const QList<Entry> target = withDistinctIDs(entries);
    changeRows(idsOf(m_entries), idsOf(target), Rows{*this, target});
    eachRun(
        target.size(), [this, &target](qsizetype i) { return m_entries.at(i) != target.at(i); },
        [this, &target](qsizetype first, qsizetype last) {
            std::copy(target.begin() + first, target.begin() + last + 1, m_entries.begin() + first);
            Q_EMIT dataChanged(index(kFirstEntryRow + first), index(kFirstEntryRow + last));
        });
}

int PickerModel::rowOf(const QString& id) const {
    if (id.isEmpty())
        return kPlaceholderRow;
    const auto found =
        std::find_if(m_entries.begin(), m_entries.end(), [&id](const Entry& entry) { return entry.id == id; });
    return found == m_entries.end() ? -1 : kFirstEntryRow + (found - m_entries.begin());
}

int PickerModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : kFirstEntryRow + m_entries.size();
}

QVariant PickerModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid())
        return {};
    if (index.row() == kPlaceholderRow)
        return placeholderData(role);
    // This is how QComboBox tells a separator.
    if (index.row() == kSeparatorRow)
        return role == Qt::AccessibleDescriptionRole ? QVariant(QStringLiteral("separator")) : QVariant();
    const Entry& entry = m_entries.at(index.row() - kFirstEntryRow);
    switch (role) {
    case Qt::DisplayRole: return entry.name;
    case Qt::UserRole: return entry.id;
    case Qt::DecorationRole: return icon(entry.icon);
    default: return {};
    }
}

QVariant PickerModel::placeholderData(int role) const {
    switch (role) {
    case Qt::DisplayRole: return m_placeholder;
    case Qt::UserRole: return QStringLiteral("");
    case Qt::ForegroundRole: return QGuiApplication::palette().brush(QPalette::PlaceholderText);
    default: return {};
    }
}

QIcon PickerModel::icon(const QString& name) const {
    const auto known = m_icons.constFind(name);
    return known == m_icons.constEnd() ? *m_icons.insert(name, QIcon(new LateIconEngine(name, m_makeIcon))) : *known;
}

Qt::ItemFlags PickerModel::flags(const QModelIndex& index) const {
    if (!index.isValid())
        return Qt::NoItemFlags;
    if (index.row() == kSeparatorRow)
        return Qt::ItemNeverHasChildren;
    return Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemNeverHasChildren;
}

} // namespace vantorel
