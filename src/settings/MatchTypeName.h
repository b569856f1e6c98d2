#pragma once

#include "routing/Rule.h"

#include <QCoreApplication>

#include <iterator>

namespace vantorel {

/// What the user reads for a match type, in the language of the program. What is stored stays as it is.
inline QString matchTypeName(Rule::MatchType type) {
    static constexpr const char* kNames[] = {
        QT_TRANSLATE_NOOP("MatchType", "Contains"), QT_TRANSLATE_NOOP("MatchType", "Domain"),
        QT_TRANSLATE_NOOP("MatchType", "Starts With"), QT_TRANSLATE_NOOP("MatchType", "Regex")};
    static_assert(std::size(kNames) == Rule::allCases.size());
    return QCoreApplication::translate("MatchType", kNames[static_cast<int>(type)]);
}

} // namespace vantorel
