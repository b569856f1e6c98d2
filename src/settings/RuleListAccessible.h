#pragma once

namespace vantorel {

/// Makes rule lists known to assistive technology: a list with an item for each rule, shown or not, which can be
/// selected, edited, deleted and moved, with a check box in it that switches the rule. Any number of calls do no harm.
void installRuleListAccessibility();

} // namespace vantorel
