#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace vantorel {

/// What ends a circle that cannot be seen beforehand: a script that hands its link on to the preferred browser, which
/// is this program, which opens the script.
///
/// Whatever is started with a link has VANTOREL_ROUND in its environment, and hands it down to what it starts. A link
/// whose sender has it, for this very link and from a moment ago, has come back. Browsers keep the variable for as long
/// as they run, and may have good reasons to send the link on at once: only so many rounds, each started by the one
/// before, are no one's wish.
///
/// The text is "COUNT SECONDS HASH": how often the link has been opened in a row, when last, and which it was.
class Round {
public:
    /// `found` is the variable as the sender of the link had it; `now` the time since the system was started.
    Round(std::string_view found, std::string_view link, std::chrono::seconds now);

    /// Whether this is one round too many.
    bool isTooMany() const { return m_count > kMost; }
    /// The variable for what is started now.
    std::string text() const;

    static constexpr int kMost = 8;
    static constexpr std::chrono::seconds kMoment{10};

private:
    int m_count = 1;
    std::chrono::seconds m_now;
    unsigned long m_link;
};

/// The round of this process, by its own variable and the system's clock.
Round roundOf(std::string_view link);
/// Takes this for the variable, which the starter did not know before; empty for none. Before there are threads.
void inheritRound(const std::string& text);
/// Puts it into the environment of this process, for those that it starts. Before there are threads.
void setRound(const Round& round);

} // namespace vantorel
