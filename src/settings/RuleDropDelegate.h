#pragma once

#include "routing/Rule.h"

#include <QList>
#include <Qt>

#include <functional>

namespace vantorel {

/// What a row of the rule list answers while something is dragged over it. Knows no toolkit: the view asks, and does
/// what the answers say. What is dragged is never read, since the window knows which of its rules is being dragged.
class RuleDropDelegate {
public:
    QUuid targetRuleID; ///< the rule of the row that is dropped on
    std::optional<QUuid>& draggedRuleID; ///< the window's; absent while no rule is being dragged
    QList<Rule> rules; ///< those of the store when the row was made
    std::function<void(const QUuid& dragged, const QUuid& target)> moveRule;

    /// Whether to take part in the drag at all: not when something comes from outside the list.
    bool validateDrop() const { return draggedRuleID.has_value(); }

    /// The rule moves while it is dragged, so that the list always shows what letting go would leave.
    void dropEntered() const {
        if (draggedRuleID && *draggedRuleID != targetRuleID)
            moveRule(QUuid(*draggedRuleID), targetRuleID);
    }

    Qt::DropAction dropUpdated() const { return Qt::MoveAction; }

    void dropExited() const { }

    /// True: the drop was taken.
    bool performDrop() const {
        draggedRuleID.reset();
        return true;
    }
};

} // namespace vantorel
