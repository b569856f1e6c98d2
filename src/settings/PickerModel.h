#pragma once

#include <QAbstractListModel>
#include <QHash>
#include <QIcon>

#include <functional>

namespace vantorel {

/// The lines of a picker: one that stands for no choice, a separator, and one for each entry.
///
/// Qt::DisplayRole is the name, Qt::UserRole the id (empty for no choice). Replacing the entries removes, moves,
/// inserts or changes no more rows than it must, and never resets, so that an open list keeps its place. Main thread
/// only.
class PickerModel : public QAbstractListModel {
    Q_OBJECT

public:
    struct Entry {
        QString id; ///< never empty, and no two alike
        QString name;
        QString icon = {}; ///< what `makeIcon` is called with

        friend bool operator==(const Entry&, const Entry&) = default;
    };
    using MakeIcon = std::function<QIcon(const QString& icon)>;

    static constexpr int kPlaceholderRow = 0;
    static constexpr int kSeparatorRow = 1;
    static constexpr int kFirstEntryRow = 2;

    /// `makeIcon` is called when an icon is first painted, once for each.
    PickerModel(QString placeholder, MakeIcon makeIcon, QObject* parent = nullptr);

    /// Entries without an id, or with one that came before, are left out.
    void setEntries(const QList<Entry>& entries);

    /// The row for an id, the placeholder's for an empty one; -1 when it is not listed.
    int rowOf(const QString& id) const;

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;

private:
    QVariant placeholderData(int role) const;
    QIcon icon(const QString& name) const;

    QString m_placeholder;
    MakeIcon m_makeIcon;
    QList<Entry> m_entries;
    mutable QHash<QString, QIcon> m_icons; // by the name in the entry
};

} // namespace vantorel
