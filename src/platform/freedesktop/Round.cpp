#include "Round.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdlib>
#include <ctime>
#include <optional>

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
std::optional<std::array<unsigned long, 4>> numbersIn(std::string_view text) {
    std::array<unsigned long, 4> numbers{};
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

int next(unsigned long number, int most) {
    return number < static_cast<unsigned long>(most) ? static_cast<int>(number) + 1 : most + 1;
}

} // namespace

Round::Round(std::string_view found, std::string_view link, std::chrono::seconds now)
    : m_now(now)
    , m_link(hashOf(link)) {
    const auto numbers = numbersIn(found);
    if (!numbers) {
        return;
    }
    const auto [count, then, hash, depth] = *numbers;
    const auto seconds = static_cast<unsigned long>(now.count());
    if (then > seconds || seconds - then > static_cast<unsigned long>(kMoment.count())) {
        return;
    }
    m_depth = next(depth, kDeepest);
    m_count = hash == m_link ? next(count, kMost) : 1;
}

std::string Round::text() const {
    return std::to_string(m_count) + ' ' + std::to_string(m_now.count()) + ' ' + std::to_string(m_link) + ' '
        + std::to_string(m_depth);
}

std::string RepeatedRounds::before(std::string_view found, std::string_view link, std::chrono::seconds now) {
    std::erase_if(m_last, [now](const Round& round) { return now - round.m_now > Round::kMoment; });
    const Round round(found, link, now);
    const auto last =
        std::find_if(m_last.begin(), m_last.end(), [&round](const Round& each) { return each.m_link == round.m_link; });
    if (last == m_last.end()) {
        m_last.push_back(round);
        return std::string(found);
    }
    const auto counted = last->text();
    const Round repeated(counted, link, now);
    const bool counts = repeated.m_count > round.m_count;
    const Round& coming = counts ? repeated : round;
    if (!coming.isTooMany()) {
        *last = coming;
    }
    return counts ? counted : std::string(found);
}

std::chrono::seconds roundClock() {
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    return std::chrono::seconds(now.tv_sec);
}

Round roundOf(std::string_view link) {
    const char* found = std::getenv(kVariable);
    return {found ? found : "", link, roundClock()};
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
