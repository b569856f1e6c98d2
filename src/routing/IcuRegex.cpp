#include "routing/IcuRegex.h"

#include "routing/RegexCost.h"

#include <unicode/uregex.h>

#include <chrono>

namespace vantorel {

namespace {

using Clock = std::chrono::steady_clock;

// Together with what passes between two of ICU's checks, a search stays below a tenth of a second: measured with the
// expressions of TestIcuRegex on texts up to the length below, and up to a million units without a back-reference.
constexpr auto kTimeLimit = std::chrono::milliseconds(50);
constexpr qsizetype kLongestForBackReference = 4096;

// A search that ends quickly should not pay for reading the clock at each start in the text.
constexpr int kStartsBetweenClockReads = 64;

struct Search {
    Clock::time_point begin = Clock::now();
    int starts = 0;

    bool inTime() const { return Clock::now() - begin < kTimeLimit; }
};

UBool U_CALLCONV continueMatch(const void* context, int32_t) {
    return static_cast<const Search*>(context)->inTime();
}

UBool U_CALLCONV continueFind(const void* context, int64_t) {
    auto* const search = static_cast<Search*>(const_cast<void*>(context));
    return ++search->starts % kStartsBetweenClockReads != 0 || search->inTime();
}

// \1 to \9 and \k<name>; a backslash that is escaped itself begins nothing.
bool hasBackReference(QStringView expression) {
    for (qsizetype i = 0; i + 1 < expression.size(); ++i) {
        if (expression[i] != u'\\')
            continue;
        const QChar escaped = expression[++i];
        if (escaped == u'k' || (escaped >= u'1' && escaped <= u'9'))
            return true;
    }
    return false;
}

// The words of ICU's own documentation of its error codes; the library itself only gives their names.
QString describe(UErrorCode error) {
    switch (error) {
    case U_REGEX_RULE_SYNTAX: return QStringLiteral("Syntax error");
    case U_REGEX_BAD_ESCAPE_SEQUENCE: return QStringLiteral("Unrecognized backslash escape sequence");
    case U_REGEX_PROPERTY_SYNTAX: return QStringLiteral("Incorrect Unicode property");
    case U_REGEX_UNIMPLEMENTED: return QStringLiteral("Use of a feature that is not implemented");
    case U_REGEX_MISMATCHED_PAREN: return QStringLiteral("Incorrectly nested parentheses");
    case U_REGEX_NUMBER_TOO_BIG: return QStringLiteral("Decimal number is too large");
    case U_REGEX_BAD_INTERVAL: return QStringLiteral("Error in {min,max} interval");
    case U_REGEX_MAX_LT_MIN: return QStringLiteral("In {min,max}, max is less than min");
    case U_REGEX_INVALID_BACK_REF: return QStringLiteral("Back-reference to a non-existent capture group");
    case U_REGEX_INVALID_FLAG: return QStringLiteral("Invalid value for match mode flags");
    case U_REGEX_LOOK_BEHIND_LIMIT: return QStringLiteral("Look-behind expression must have a bounded maximum length");
    case U_REGEX_SET_CONTAINS_STRING: return QStringLiteral("A character set cannot contain strings");
    case U_REGEX_MISSING_CLOSE_BRACKET: return QStringLiteral("Missing closing bracket");
    case U_REGEX_INVALID_RANGE: return QStringLiteral("In a character range [x-y], x is greater than y");
    case U_REGEX_PATTERN_TOO_BIG: return QStringLiteral("Expression is too big");
    case U_REGEX_INVALID_CAPTURE_GROUP_NAME: return QStringLiteral("Invalid capture group name");
    case U_REGEX_INTERNAL_ERROR: return QStringLiteral("Expression is nested too deeply");
    default: return QString::fromLatin1(u_errorName(error));
    }
}

} // namespace

void IcuRegex::Close::operator()(URegularExpression* regex) const {
    uregex_close(regex);
}

IcuRegex::IcuRegex(Handle regex, bool hasBackReference)
    : m_regex(std::move(regex))
    , m_hasBackReference(hasBackReference) { }

std::variant<IcuRegex, RegexError> IcuRegex::compile(QStringView expression, CaseSensitivity caseSensitivity) {
    if (takesLongToCompile(expression))
        return RegexError{.message = describe(U_REGEX_PATTERN_TOO_BIG), .position = -1};
    UErrorCode error = U_ZERO_ERROR;
    UParseError where{};
    where.offset = -1;
    const uint32_t flags = caseSensitivity == CaseSensitivity::insensitive ? uint32_t{UREGEX_CASE_INSENSITIVE} : 0;
    Handle regex(uregex_open(expression.utf16(), static_cast<int32_t>(expression.size()), flags, &where, &error));
    if (U_FAILURE(error))
        return RegexError{.message = describe(error), .position = where.offset};
    return IcuRegex(std::move(regex), hasBackReference(expression));
}

bool IcuRegex::isFoundIn(QStringView text) {
    if (m_hasBackReference && text.size() > kLongestForBackReference)
        return false;
    Search search;
    UErrorCode error = U_ZERO_ERROR;
    uregex_setMatchCallback(m_regex.get(), continueMatch, &search, &error);
    uregex_setFindProgressCallback(m_regex.get(), continueFind, &search, &error);
    uregex_setText(m_regex.get(), text.utf16(), static_cast<int32_t>(text.size()), &error);
    return uregex_find(m_regex.get(), 0, &error) && U_SUCCESS(error);
}

} // namespace vantorel
