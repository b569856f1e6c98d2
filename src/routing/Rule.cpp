#include "routing/Rule.h"

#include <QHash>

#include <algorithm>

namespace vantorel {

namespace {

constexpr std::array<QStringView, 4> kRawValues = {u"Contains", u"Domain", u"Starts With", u"Regex"};
static_assert(kRawValues.size() == Rule::allCases.size());

} // namespace

QString Rule::rawValue(MatchType type) {
    return kRawValues[static_cast<std::size_t>(type)].toString();
}

std::optional<Rule::MatchType> Rule::matchTypeFromRawValue(QStringView rawValue) {
    const auto found = std::find(kRawValues.begin(), kRawValues.end(), rawValue);
    if (found == kRawValues.end())
        return std::nullopt;
    return allCases[static_cast<std::size_t>(found - kRawValues.begin())];
}

size_t qHash(Rule::MatchType type, size_t seed) {
    return ::qHash(QStringView(kRawValues[static_cast<std::size_t>(type)]), seed);
}

} // namespace vantorel
