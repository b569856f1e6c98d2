#include "settings/RuleList.h"

#include "controls/Theme.h"
#include "settings/RuleListAccessible.h"
#include "settings/RuleListModel.h"
#include "settings/RuleRow.h"

#include <QAccessible>
#include <QDragEnterEvent>
#include <QKeyEvent>
#include <QMimeData>
#include <QPainter>
#include <QScrollBar>
#include <QTimerEvent>
#include <QVariantAnimation>

#include <algorithm>
#include <utility>

namespace vantorel {

namespace {

constexpr int kPadding = 8; // around all rows
constexpr int kAutoScrollEdge = 36; // how near the edge a drag makes the list scroll
constexpr int kAutoScrollInterval = 16; // milliseconds between two steps
constexpr int kAutoScrollStep = 10; // pixels a step at the very edge

} // namespace

RuleList::RuleList(RuleListModel& model, MakeDropDelegate makeDropDelegate, QWidget* parent)
    : QAbstractScrollArea(parent)
    , m_model(model)
    , m_makeDropDelegate(std::move(makeDropDelegate))
    , m_gliding(new QVariantAnimation(this)) {
    installRuleListAccessibility();
    setFrameShape(QFrame::NoFrame);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setFocusPolicy(Qt::StrongFocus);
    setAccessibleName(tr("Routing Rules"));
    viewport()->setAutoFillBackground(false);
    viewport()->setAcceptDrops(true);
    m_rowHeight = RuleRow::heightFor(font());

    m_gliding->setStartValue(0.0);
    m_gliding->setEndValue(1.0);
    m_gliding->setEasingCurve(QEasingCurve::OutCubic);
    connect(m_gliding, &QVariantAnimation::valueChanged, this, &RuleList::glide);

    connect(&m_model, &QAbstractItemModel::rowsInserted, this, [this](const QModelIndex&, int first, int last) {
        onOrderChanged();
        if (first == last && isVisible())
            ensureVisible(first);
    });
    connect(&m_model, &QAbstractItemModel::rowsRemoved, this, &RuleList::onOrderChanged);
    connect(&m_model, &QAbstractItemModel::rowsMoved, this, &RuleList::onOrderChanged);
    connect(&m_model, &QAbstractItemModel::dataChanged, this,
            [this](const QModelIndex& first, const QModelIndex& last) { fillRows(first.row(), last.row()); });
}

void RuleList::setSelectedRuleID(const std::optional<QUuid>& id) {
    m_selectedRuleID = id;
    for (const Slot& slot : m_slots)
        slot.widget->setSelected(id == slot.widget->rule().id);
    const int row = selectedRow();
    if (row >= 0)
        ensureVisible(row);
    markFocus();
    if (QAccessible::isActive() && hasFocus() && row >= 0) {
        QAccessibleEvent event(QAccessible::queryAccessibleInterface(this)->child(row), QAccessible::Focus);
        QAccessible::updateAccessibility(&event);
    }
}

void RuleList::setDraggedRuleID(const std::optional<QUuid>& id) {
    m_draggedRuleID = id;
    for (const Slot& slot : m_slots)
        slot.widget->setDragging(id == slot.widget->rule().id);
}

// -- what the user can do ---------------------------------------------------------------------------------------------

bool RuleList::hasRow(int row) const {
    return row >= 0 && row < m_model.rowCount();
}

std::optional<QUuid> RuleList::idOf(int row) const {
    return hasRow(row) ? std::optional(m_model.rule(row).id) : std::nullopt;
}

int RuleList::selectedRow() const {
    return m_selectedRuleID ? m_model.rowOf(*m_selectedRuleID) : -1;
}

bool RuleList::isSelected(int row) const {
    return m_selectedRuleID && idOf(row) == m_selectedRuleID;
}

void RuleList::select(int row) {
    if (hasRow(row))
        Q_EMIT selectionRequested(idOf(row));
}

void RuleList::edit(int row) {
    if (hasRow(row))
        Q_EMIT editRequested(m_model.rule(row));
}

void RuleList::toggle(int row) {
    if (hasRow(row))
        m_model.setEnabled(row, !m_model.rule(row).isEnabled);
}

void RuleList::remove(int row) {
    if (!hasRow(row))
        return;
    select(row);
    Q_EMIT deletionRequested();
}

void RuleList::moveBy(int row, int delta) {
    if (!hasRow(row) || !hasRow(row + delta))
        return;
    m_model.moveBy(row, delta);
    ensureVisible(row + delta);
}

// -- where things are -------------------------------------------------------------------------------------------------

QRect RuleList::rowRect(int row) const {
    return {kPadding, kPadding + row * m_rowHeight - verticalScrollBar()->value(), viewport()->width() - 2 * kPadding,
            m_rowHeight};
}

// By where rows belong, not by where they are on their way there: a row that glides past the pointer is not entered.
int RuleList::rowAt(const QPoint& position) const {
    if (position.x() < kPadding || position.x() >= viewport()->width() - kPadding)
        return -1;
    const int below = position.y() + verticalScrollBar()->value() - kPadding;
    const int row = below / m_rowHeight;
    return below >= 0 && hasRow(row) ? row : -1;
}

void RuleList::ensureVisible(int row) {
    const int top = row * m_rowHeight, bottom = top + m_rowHeight + 2 * kPadding;
    const int value = verticalScrollBar()->value();
    if (top < value)
        verticalScrollBar()->setValue(top);
    else if (bottom > value + viewport()->height())
        verticalScrollBar()->setValue(bottom - viewport()->height());
}

void RuleList::updateScrollBar() {
    const int all = m_model.rowCount() * m_rowHeight + 2 * kPadding;
    verticalScrollBar()->setRange(0, std::max(0, all - viewport()->height()));
    verticalScrollBar()->setPageStep(viewport()->height());
    verticalScrollBar()->setSingleStep(m_rowHeight / 2);
}

void RuleList::onOrderChanged() {
    updateScrollBar();
    layOut(Placement::gliding);
}

// Gives every visible row a widget. A widget stays with its rule wherever that goes, and is free once it is out of
// sight.
void RuleList::layOut(Placement placement) {
    const int scrolled = verticalScrollBar()->value();
    const int first = std::max(0, (scrolled - kPadding) / m_rowHeight);
    const int last = std::min(m_model.rowCount() - 1, (scrolled + viewport()->height() - kPadding) / m_rowHeight);

    std::vector<bool> isShown(static_cast<std::size_t>(std::max(0, last - first + 1)));
    std::erase_if(m_slots, [&](Slot& slot) {
        const int row = slot.index.isValid() ? slot.index.row() : -1;
        if (row < first || row > last) {
            slot.widget->hide();
            m_spares.push_back(slot.widget);
            return true;
        }
        isShown[static_cast<std::size_t>(row - first)] = true;
        const qreal left = slot.offset * (1 - m_glided);
        slot.offset = placement == Placement::gliding ? left + (slot.row - row) * m_rowHeight : slot.offset;
        slot.row = row;
        return false;
    });
    const bool glides = placement == Placement::gliding && isVisible() && theme::animationTime(this) > 0
        && std::any_of(m_slots.begin(), m_slots.end(), [](const Slot& slot) { return slot.offset != 0; });
    if (placement == Placement::gliding) {
        m_gliding->stop();
        m_glided = glides ? 0 : 1;
    }
    for (int row = first; row <= last; ++row) {
        if (isShown[static_cast<std::size_t>(row - first)])
            continue;
        RuleRow* widget = nullptr;
        if (m_spares.empty()) {
            widget = new RuleRow(viewport());
        } else {
            widget = m_spares.back();
            m_spares.pop_back();
        }
        m_slots.push_back({.widget = widget, .index = m_model.index(row), .row = row});
        fill(m_slots.back(), true);
    }
    for (const Slot& slot : m_slots) {
        place(slot);
        slot.widget->show();
    }
    if (glides) {
        m_gliding->setDuration(theme::animationTime(this));
        m_gliding->start();
    }
    markFocus();
}

void RuleList::place(const Slot& slot) {
    slot.widget->setGeometry(rowRect(slot.row).translated(0, qRound(slot.offset * (1 - m_glided))));
}

void RuleList::glide() {
    m_glided = m_gliding->currentValue().toReal();
    for (const Slot& slot : m_slots)
        place(slot);
}

void RuleList::fill(Slot& slot, bool isAnother) {
    const int row = slot.index.row();
    const Rule& rule = m_model.rule(row);
    slot.widget->display(rule,
                         {.title = m_model.title(row),
                          .app = m_model.appName(row),
                          .appIcon = m_model.appIconName(row),
                          .browser = m_model.browserName(row),
                          .browserIcon = m_model.browserIconName(row)},
                         isAnother);
    slot.widget->setSelected(m_selectedRuleID == rule.id);
    slot.widget->setDragging(m_draggedRuleID == rule.id);
    if (!isAnother)
        return;
    const QPersistentModelIndex index = slot.index;
    slot.widget->setActions({.select =
                                 [this, index] {
                                     setFocus(Qt::MouseFocusReason);
                                     select(index.row());
                                 },
                             .edit = [this, index] { edit(index.row()); },
                             .setEnabled = [this, index](bool enabled) { m_model.setEnabled(index.row(), enabled); }},
                            [this, index] {
                                if (const auto id = idOf(index.row()))
                                    Q_EMIT dragStarted(*id);
                            });
}

void RuleList::fillRows(int first, int last) {
    for (Slot& slot : m_slots) {
        if (slot.row >= first && slot.row <= last)
            fill(slot, false);
    }
}

bool RuleList::event(QEvent* event) {
    if (event->type() == QEvent::FontChange && m_rowHeight != RuleRow::heightFor(font())) {
        m_rowHeight = RuleRow::heightFor(font());
        updateScrollBar();
        layOut(Placement::atOnce);
    }
    return QAbstractScrollArea::event(event);
}

void RuleList::resizeEvent(QResizeEvent*) {
    updateScrollBar();
    layOut(Placement::atOnce);
}

void RuleList::scrollContentsBy(int, int) {
    layOut(Placement::atOnce);
}

// -- keyboard and pointer ---------------------------------------------------------------------------------------------

void RuleList::keyPressEvent(QKeyEvent* event) {
    const int row = selectedRow(), count = m_model.rowCount();
    const int page = std::max(1, viewport()->height() / m_rowHeight - 1);
    const auto go = [&](int target) { select(std::clamp(target, 0, count - 1)); };
    const bool isAlt = event->modifiers() & Qt::AltModifier;
    switch (event->key()) {
    case Qt::Key_Up: isAlt ? moveBy(row, -1) : go(row < 0 ? count - 1 : row - 1); return;
    case Qt::Key_Down: isAlt ? moveBy(row, 1) : go(row + 1); return;
    case Qt::Key_PageUp: go(std::max(row, 0) - page); return;
    case Qt::Key_PageDown: go(row + page); return;
    case Qt::Key_Home: go(0); return;
    case Qt::Key_End: go(count - 1); return;
    case Qt::Key_Delete:
        if (row >= 0)
            Q_EMIT deletionRequested();
        return;
    case Qt::Key_Return:
    case Qt::Key_Enter: edit(row); return;
    case Qt::Key_Space: toggle(row); return;
    default: QAbstractScrollArea::keyPressEvent(event);
    }
}

void RuleList::focusInEvent(QFocusEvent* event) {
    markFocus();
    QAbstractScrollArea::focusInEvent(event);
}

void RuleList::focusOutEvent(QFocusEvent* event) {
    markFocus();
    QAbstractScrollArea::focusOutEvent(event);
}

// The ring is around the row that the keys act on, or around the list where there is none.
void RuleList::markFocus() {
    viewport()->update();
    for (const Slot& slot : m_slots)
        slot.widget->setFocused(hasFocus() && slot.widget->isSelected());
}

void RuleList::paintEvent(QPaintEvent*) {
    if (!hasFocus() || selectedRow() >= 0)
        return;
    QPainter painter(viewport());
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(theme::color(theme::Tone::accent, palette()), 2));
    painter.drawRoundedRect(QRectF(viewport()->rect()).adjusted(2, 2, -2, -2), theme::kCornerRadius,
                            theme::kCornerRadius);
}

// Rows take the presses on them; what comes here is beside them.
void RuleList::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton)
        Q_EMIT selectionRequested(std::nullopt);
}

// -- dragging ---------------------------------------------------------------------------------------------------------

bool RuleList::enterRowAt(const QPoint& position) {
    const auto target = idOf(rowAt(position));
    if (target == m_enteredRuleID)
        return target && m_makeDropDelegate(*target).validateDrop();
    if (m_enteredRuleID)
        m_makeDropDelegate(*m_enteredRuleID).dropExited();
    m_enteredRuleID = target;
    if (!target)
        return false;
    RuleDropDelegate delegate = m_makeDropDelegate(*target);
    if (!delegate.validateDrop())
        return false;
    delegate.dropEntered();
    return true;
}

// The list as a whole takes the drag, so that its moves are told; whether a row takes it shows at each of them.
void RuleList::dragEnterEvent(QDragEnterEvent* event) {
    if (event->mimeData()->hasText())
        event->accept();
}

void RuleList::dragMoveEvent(QDragMoveEvent* event) {
    m_dragPosition = event->position().toPoint();
    const int y = m_dragPosition.y();
    if (m_draggedRuleID && (y < kAutoScrollEdge || y > viewport()->height() - kAutoScrollEdge)) {
        if (!m_autoScroll.isActive())
            m_autoScroll.start(kAutoScrollInterval, Qt::PreciseTimer, this);
    } else {
        m_autoScroll.stop();
    }
    if (!enterRowAt(m_dragPosition)) {
        event->ignore();
        return;
    }
    event->setDropAction(Qt::MoveAction);
    event->accept();
}

void RuleList::dragLeaveEvent(QDragLeaveEvent*) {
    m_autoScroll.stop();
    if (m_enteredRuleID)
        m_makeDropDelegate(*m_enteredRuleID).dropExited();
    m_enteredRuleID.reset();
}

void RuleList::dropEvent(QDropEvent* event) {
    m_autoScroll.stop();
    m_enteredRuleID.reset();
    const auto target = idOf(rowAt(event->position().toPoint()));
    if (!target)
        return;
    RuleDropDelegate delegate = m_makeDropDelegate(*target);
    if (!delegate.validateDrop() || !delegate.performDrop())
        return;
    event->setDropAction(Qt::MoveAction);
    event->accept();
    Q_EMIT dropped();
}

void RuleList::timerEvent(QTimerEvent* event) {
    if (event->timerId() != m_autoScroll.timerId()) {
        QAbstractScrollArea::timerEvent(event);
        return;
    }
    const int above = kAutoScrollEdge - m_dragPosition.y();
    const int below = m_dragPosition.y() - (viewport()->height() - kAutoScrollEdge);
    const int depth = std::clamp(std::max(above, below), 1, kAutoScrollEdge);
    const int step = std::max(1, kAutoScrollStep * depth / kAutoScrollEdge);
    verticalScrollBar()->setValue(verticalScrollBar()->value() + (above > 0 ? -step : step));
    enterRowAt(m_dragPosition);
}

} // namespace vantorel
