#pragma once

#include <QAbstractItemModel>
#include <QList>
#include <QVariant>

#include <functional>

namespace vantorel {

/// The rows of a model as somebody knows them who only hears its signals: rows that appear or change are read then and
/// never again.
class RowMirror : public QObject {
public:
    using Read = std::function<QVariant(int row)>;

    RowMirror(const QAbstractItemModel& model, Read read) : m_read(std::move(read)) {
        for (int row = 0; row < model.rowCount(); ++row)
            rows.append(m_read(row));
        connect(&model, &QAbstractItemModel::rowsInserted, this, [this](const QModelIndex&, int first, int last) {
            ++steps;
            for (int row = first; row <= last; ++row)
                rows.insert(row, m_read(row));
        });
        connect(&model, &QAbstractItemModel::rowsRemoved, this, [this](const QModelIndex&, int first, int last) {
            ++steps;
            rows.remove(first, last - first + 1);
        });
        connect(&model, &QAbstractItemModel::rowsMoved, this,
                [this](const QModelIndex&, int first, int last, const QModelIndex&, int before) {
                    ++steps;
                    const QList<QVariant> moved = rows.mid(first, last - first + 1);
                    rows.remove(first, moved.size());
                    const int place = before > first ? before - moved.size() : before;
                    for (int i = 0; i < moved.size(); ++i)
                        rows.insert(place + i, moved[i]);
                });
        connect(&model, &QAbstractItemModel::dataChanged, this,
                [this](const QModelIndex& first, const QModelIndex& last) {
                    ++changes;
                    for (int row = first.row(); row <= last.row(); ++row)
                        rows[row] = m_read(row);
                });
        connect(&model, &QAbstractItemModel::modelAboutToBeReset, this, [this] { ++resets; });
        connect(&model, &QAbstractItemModel::layoutAboutToBeChanged, this, [this] { ++resets; });
    }

    QList<QVariant> rows;
    int steps = 0; ///< removals, moves and insertions
    int changes = 0;
    int resets = 0;

private:
    Read m_read;
};

} // namespace vantorel
