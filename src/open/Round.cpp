#include "Round.h"

#include <array>
#include <charconv>
#include <cstdlib>
#include <ctime>

namespace vantorel {

namespace {

constexpr const char* kVariable = "VANTOREL_ROUND";

// FNV-1a: whoever wants two links to look the same can as well forge the variable.
unsigned long hashOf(std::string_view text) {
    unsigned long hash = 14695981039346656037UL;
    for (const char c : text) {
        hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211UL;
    }
    return hash;
}

/// The numbers of a text that has nothing else; absent for any other text.
std::optional<std::array<unsigned long, 3>> numbersIn(std::string_view text) {
    std::array<unsigned long, 3> numbers{};
    const auto* at = text.data();
    const auto* const end = at + text.size();
    for (auto& number : numbers) {
        const bool isFirst = &number == numbers.data();
        if (!isFirst && (at == end || *at++ != ' ')) {
            return std::nullopt;
        }
        const auto [stop, error] = std::from_chars(at, end, number);
        if (error != std::errc()) {
            return std::nullopt;
        }
        at = stop;
    }
    return at == end ? std::optional(numbers) : std::nullopt;
}

} // namespace

Round::Round(std::string_view found, std::string_view link, std::chrono::seconds now)
    : m_now(now)
    , m_link(hashOf(link)) {
    const auto before = numbersIn(found);
    const auto seconds = static_cast<unsigned long>(now.count());
    const bool isBack = before && (*before)[2] == m_link && (*before)[1] <= seconds
        && seconds - (*before)[1] <= static_cast<unsigned long>(kMoment.count());
    if (isBack) {
        m_count = (*before)[0] < kMost ? static_cast<int>((*before)[0]) + 1 : kMost + 1;
    }
}

std::string Round::text() const {
    return std::to_string(m_count) + ' ' + std::to_string(m_now.count()) + ' ' + std::to_string(m_link);
}

Round roundOf(std::string_view link) {
    const char* found = std::getenv(kVariable);
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    return {found ? found : "", link, std::chrono::seconds(now.tv_sec)};
}

void inheritRound(const std::string& text) {
    if (!text.empty()) {
        setenv(kVariable, text.c_str(), 1);
    }
}

void setRound(const Round& round) {
    setenv(kVariable, round.text().c_str(), 1);
}

} // namespace vantorel
