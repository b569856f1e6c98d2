#pragma once

#include <QStringView>

namespace vantorel {

/// Whether ICU could need more than some tenths of a second to compile this regular expression as it is written, or
/// more than about a second to compile it for any letter case: who types it, or a link, would have to wait. What people
/// write for links is far from it (a list of 10,000 hosts is not refused); the answer is a bound, so that a few
/// expressions that would be quick are taken for slow ones.
bool takesLongToCompile(QStringView expression);

} // namespace vantorel
