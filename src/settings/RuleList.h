#pragma once

#include "settings/RuleDropDelegate.h"

#include <QAbstractScrollArea>
#include <QBasicTimer>
#include <QPersistentModelIndex>
#include <QUuid>

#include <functional>
#include <optional>
#include <vector>

class QVariantAnimation;

namespace vantorel {

struct Rule;
class RuleListModel;
class RuleRow;

/// The rules in evaluation order, one row each, of which only the visible ones cost anything.
///
/// Keeps no state of the user's work: what is selected and what is dragged is set from outside, and what the user does
/// is announced. Rows glide to their places when the order changes.
class RuleList : public QAbstractScrollArea {
    Q_OBJECT

public:
    using MakeDropDelegate = std::function<RuleDropDelegate(const QUuid& targetRuleID)>;

    /// The model must outlive the list. `makeDropDelegate` answers for the row with that rule while something is
    /// dragged.
    RuleList(RuleListModel& model, MakeDropDelegate makeDropDelegate, QWidget* parent = nullptr);

    RuleListModel& model() const { return m_model; }

    void setSelectedRuleID(const std::optional<QUuid>& id);
    void setDraggedRuleID(const std::optional<QUuid>& id);

    /// What the user can do with a row, for the pointer, the keyboard and assistive technology alike.
    void select(int row);
    void edit(int row);
    void toggle(int row);
    void remove(int row);
    void moveBy(int row, int delta);

    int selectedRow() const;
    bool isSelected(int row) const;

    /// Where a row is, whether visible or not, in the viewport's coordinates.
    QRect rowRect(int row) const;

    /// The row at a place of the viewport; -1 where there is none.
    int rowAt(const QPoint& position) const;

    void ensureVisible(int row);

    QSize minimumSizeHint() const override { return {200, 80}; }

Q_SIGNALS:
    void selectionRequested(const std::optional<QUuid>& id);
    void editRequested(const vantorel::Rule& rule);
    void deletionRequested();
    void dragStarted(const QUuid& id);
    /// A drag has come to its end on a row.
    void dropped();

protected:
    bool event(QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void scrollContentsBy(int dx, int dy) override;
    void keyPressEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dragLeaveEvent(QDragLeaveEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    void timerEvent(QTimerEvent* event) override;

private:
    enum class Placement { atOnce, gliding };
    struct Slot {
        RuleRow* widget;
        QPersistentModelIndex index;
        int row = -1; // as of the last layout
        qreal offset = 0; // from where it belongs, while it glides there
    };

    void onOrderChanged();
    void layOut(Placement placement);
    void place(const Slot& slot);
    void fill(Slot& slot, bool isAnother);
    void fillRows(int first, int last);
    void updateScrollBar();
    void glide();
    void markFocus();
    bool hasRow(int row) const;
    std::optional<QUuid> idOf(int row) const;
    bool enterRowAt(const QPoint& position);

    RuleListModel& m_model;
    MakeDropDelegate m_makeDropDelegate;
    std::optional<QUuid> m_selectedRuleID;
    std::optional<QUuid> m_draggedRuleID;
    std::vector<Slot> m_slots;
    std::vector<RuleRow*> m_spares;
    QVariantAnimation* m_gliding;
    qreal m_glided = 1; // the share of the way that the animation has gone
    int m_rowHeight = 0;
    std::optional<QUuid> m_enteredRuleID; // the row that the pointer of a drag is on
    QPoint m_dragPosition;
    QBasicTimer m_autoScroll;
};

} // namespace vantorel
