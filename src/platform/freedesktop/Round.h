#pragma once

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

namespace vantorel {

/// What ends a circle that cannot be seen beforehand: a script that hands its link on to the preferred browser, which
/// is this program, which opens the script.
///
/// Whatever is started with a link has VANTOREL_ROUND in its environment, and hands it down to what it starts. A link
/// whose sender has it, for this very link and from a moment ago, has come back. Browsers keep the variable for as long
/// as they run, and may have good reasons to send the link on at once: only so many rounds, each started by the one
/// before, are no one's wish. More of them may be where each has another link than the one before.
///
/// The text is "COUNT SECONDS HASH DEPTH": how often the link has been opened in a row, when last, which it was, and
/// how many links have been opened in a row, each by what the one before has started.
class Round {
public:
    /// `found` is the variable as the sender of the link had it; `now` the time since the system was started.
    Round(std::string_view found, std::string_view link, std::chrono::seconds now);

    /// Whether this is one round too many.
    bool isTooMany() const { return m_count > kMost || m_depth > kDeepest; }
    /// The variable for what is started now.
    std::string text() const;

    static constexpr int kMost = 8;
    static constexpr int kDeepest = 32;
    static constexpr std::chrono::seconds kMoment{10};

private:
    friend class RepeatedRounds;

    int m_count = 1;
    int m_depth = 1;
    std::chrono::seconds m_now;
    unsigned long m_link;
};

/// The rounds of links that go to the application they come from. Where that runs already it gets a link from whatever
/// was started to hand it over, and has no variable to tell of it: so the rounds are counted here.
class RepeatedRounds {
public:
    /// The variable for what is to open the link now, as if its sender had had it. What is one round too many does not
    /// count: a moment after the last one that was opened the link may be opened again.
    std::string before(std::string_view found, std::string_view link, std::chrono::seconds now);

private:
    std::vector<Round> m_last; // of the last moment, each for another link
};

/// The time by which rounds are counted.
std::chrono::seconds roundClock();
/// The round of this process, by its own variable.
Round roundOf(std::string_view link);
/// Takes this for the variable, which the starter did not know before; empty for none. Before there are threads.
void inheritRound(const std::string& text);
/// Puts it into the environment of this process, for those that it starts. Before there are threads.
void setRound(const Round& round);

} // namespace vantorel
