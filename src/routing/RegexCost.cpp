#include "routing/RegexCost.h"

namespace vantorel {

namespace {

// Nanoseconds, rounded up from what ICU 72 took for long rows of each thing.
constexpr double kUnit = 150;
constexpr double kAlternative = 2'000;
constexpr double kSet = 20'000;
constexpr double kWideSet = 150'000; // one that names classes, or characters of all Unicode
constexpr double kWideSetInAnyCase = 10'000'000; // each of its characters is looked up
constexpr double kMovedUnit = 0.2; // a repetition or a look-behind goes over all that has been compiled before it
constexpr double kMovedUnitOfCount = 6; // so does a count, several times

constexpr double kLongest = 200'000'000;
constexpr double kLongestInAnyCase = 1'000'000'000; // for a link, once: later ones find the expression compiled

bool isLetter(QChar c) {
    return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z');
}

} // namespace

// Where an expression can be read in more than one way, it counts as the slower one.
bool takesLongToCompile(QStringView expression) {
    const bool mayQuoteBrackets = expression.contains(u"\\Q");
    qsizetype alternatives = 0;
    qsizetype sets = 0;
    qsizetype wideSets = 0;
    qsizetype repetitions = 0;
    qsizetype counts = 0;
    bool hasFlags = false; // letter case may be among them
    int depth = 0; // of sets within sets
    const auto at = [expression](qsizetype i) { return i < expression.size() ? expression[i] : QChar(); };
    for (qsizetype i = 0; i < expression.size(); ++i) {
        const QChar c = expression[i];
        if (c == u'\\') {
            ++i;
            if (at(i) == u'p' || at(i) == u'P' || (depth > 0 && isLetter(at(i))))
                ++wideSets;
        } else if (c == u'[') {
            ++sets;
            if (depth > 0 || at(i + 1) == u':')
                ++wideSets;
            ++depth;
            if (at(i + 1) == u'^')
                ++i;
            if (at(i + 1) == u']') // the first character of the set, or its end
                ++i;
        } else if (c == u']') {
            if (depth > 0 && !mayQuoteBrackets)
                --depth;
        } else if (c == u'|') {
            ++alternatives;
        } else if (c == u'{') {
            ++counts;
        } else if (c == u'*' || c == u'+' || c == u'?') {
            ++repetitions;
            hasFlags = hasFlags || (c == u'?' && (at(i + 1) == u'-' || isLetter(at(i + 1))));
        } else if (depth > 0 && c.unicode() > 0x7f) {
            ++wideSets;
        }
    }
    const auto length = static_cast<double>(expression.size());
    const double perUnit = kUnit + repetitions * kMovedUnit + counts * kMovedUnitOfCount;
    const double withoutWideSets = alternatives * kAlternative + sets * kSet + length * perUnit;
    const double asWritten = withoutWideSets + wideSets * (hasFlags ? kWideSetInAnyCase : kWideSet);
    const double inAnyCase = withoutWideSets + wideSets * kWideSetInAnyCase;
    return asWritten > kLongest || inAnyCase > kLongestInAnyCase;
}

} // namespace vantorel
