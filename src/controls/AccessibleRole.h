#pragma once

#include <QAccessible>

namespace vantorel {

/// Says what the widgets of a class are to assistive technology, where the toolkit takes them for mere containers. Any
/// number of calls do no harm.
void setAccessibleRole(const QMetaObject& widgetClass, QAccessible::Role role);

} // namespace vantorel
