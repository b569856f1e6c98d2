#pragma once

#include "routing/Rule.h"

#include <QByteArray>
#include <QList>

#include <optional>

namespace vantorel {

/// The stored form of a list of rules: one compact UTF-8 JSON array of objects, keys in the order of Rule's fields,
/// ids in upper case, "sourceAppBundleID" left out when absent.
QByteArray encodeRules(const QList<Rule>& rules);

/// Reads the stored form. Absent when any part of the document is not of that form: text that is no JSON, nested more
/// than 1,024 deep or larger than 128 MiB, another top level than an array, or in any element a missing key (only
/// "sourceAppBundleID" may be missing or null), a value of another type, an id that is no UUID in its 36 characters,
/// an unknown match type. There is never a part of a list. Unknown keys are ignored.
std::optional<QList<Rule>> decodeRules(const QByteArray& json);

} // namespace vantorel
