// Regular expressions that want to take forever. First the expression, then behind a line feed the text.

#include "Fuzz.h"
#include "Text.h"

#include "routing/IcuRegex.h"

#include <ctime>

#define U_SHOW_CPLUSPLUS_API 1
#include <unicode/regex.h>

using namespace vantorel;
using CaseSensitivity = IcuRegex::CaseSensitivity;

namespace {

// Far above what is promised, and far below what feels like for good. Only what this thread itself has used counts.
constexpr double kLongestCompilation = 5;
constexpr double kLongestSearch = 2;

double secondsUsed() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

// ICU's own answer, where it comes quickly.
std::optional<bool> secondOpinion(const QString& expression, const QString& text, CaseSensitivity caseSensitivity) {
    constexpr int32_t kSteps = 2; // of about a millisecond
    UErrorCode error = U_ZERO_ERROR;
    const uint32_t flags = caseSensitivity == CaseSensitivity::insensitive ? uint32_t{UREGEX_CASE_INSENSITIVE} : 0;
    const icu::UnicodeString pattern(expression.utf16(), static_cast<int32_t>(expression.size()));
    const icu::UnicodeString input(text.utf16(), static_cast<int32_t>(text.size()));
    icu::RegexMatcher matcher(pattern, flags, error);
    matcher.setTimeLimit(kSteps, error);
    matcher.reset(input);
    const bool isFound = matcher.find(error);
    return U_SUCCESS(error) ? std::optional(isFound) : std::nullopt;
}

void check(const QString& expression, const QString& text, CaseSensitivity caseSensitivity) {
    const double begin = secondsUsed();
    auto compiled = IcuRegex::compile(expression, caseSensitivity);
    CHECK(secondsUsed() - begin < kLongestCompilation);
    auto* const regex = std::get_if<IcuRegex>(&compiled);
    if (!regex) {
        CHECK(!std::get<RegexError>(compiled).message.isEmpty());
        return;
    }
    const auto search = [regex](const QString& in) {
        const double start = secondsUsed();
        const bool isFound = regex->isFoundIn(in);
        CHECK(secondsUsed() - start < kLongestSearch);
        return isFound;
    };
    // Where the processor is taken away from us, a search may be given up that is quick by itself.
    const auto expected = secondOpinion(expression, text, caseSensitivity);
    bool agrees = !expected;
    for (int attempts = 0; attempts < 5 && !agrees; ++attempts)
        agrees = search(text) == *expected;
    CHECK(agrees);
    search(text.repeated(100).left(100'000)); // hostile only when it is long
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    auto input = fuzz::bytes(data, size);
    const QString expression = fuzz::text(fuzz::takePart(input, '\n'));
    const QString text = fuzz::text(input);
    check(expression, text, CaseSensitivity::insensitive);
    check(expression, text, CaseSensitivity::sensitive);
    return 0;
}
