#include "Settling.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstring>
#include <ctime>
#include <string_view>

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vantorel {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;

// A script that gives up needs one or two milliseconds of CPU time to do so, however long it has to wait for them
// on a busy computer; a browser goes on for much longer.
constexpr nanoseconds kEnoughWork = milliseconds(3);
constexpr nanoseconds kLongestWatch = milliseconds(100);
constexpr nanoseconds kInterval = microseconds(150);
// Asleep once may be a short wait for a file or a lock.
constexpr int kEnoughSleep = 4;
constexpr int kDeepestTree = 16;

/// What a process and those it started were doing at one moment.
struct Sample {
    bool asleep = true; ///< every one of them waits for some event
    nanoseconds mostWork{0}; ///< CPU time of the one that has used most
};

nanoseconds workOf(pid_t pid) {
    clockid_t clock{};
    timespec time{};
    if (clock_getcpuclockid(pid, &clock) != 0 || clock_gettime(clock, &time) != 0) {
        return nanoseconds(0);
    }
    return std::chrono::seconds(time.tv_sec) + nanoseconds(time.tv_nsec);
}

std::string_view readFile(const std::string& path, std::array<char, 4096>& buffer) {
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return {};
    }
    const auto count = read(fd, buffer.data(), buffer.size());
    close(fd);
    return {buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0))};
}

/// The state letter of a process (proc(5)); 'X' when there is none.
char stateOf(const std::string& folder) {
    std::array<char, 4096> buffer;
    const auto text = readFile(folder + "/stat", buffer);
    // The name before it stands in parentheses and may contain any character.
    const auto name = text.rfind(") ");
    return name == std::string_view::npos || name + 2 >= text.size() ? 'X' : text[name + 2];
}

/// Reads one number and the blank behind it off the front of `text`.
bool takeNumber(std::string_view& text, pid_t& number) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const auto length = static_cast<std::size_t>(end - text.data());
    text.remove_prefix(std::min(length + 1, text.size()));
    return error == std::errc();
}

// A shell that waits for a command is asleep too; it is what the command does that counts. That is why the whole
// tree is looked at. Waiting for the disk ('D') is work, as is the wait of a vfork for its child, and those that
// have ended ('Z', 'X') tell nothing.
void look(pid_t pid, int depth, Sample& sample) {
    const auto number = std::to_string(pid);
    const auto folder = "/proc/" + number;
    const char state = stateOf(folder);
    if (state == 'Z' || state == 'X') {
        return;
    }
    sample.asleep = sample.asleep && state == 'S';
    sample.mostWork = std::max(sample.mostWork, workOf(pid));
    if (depth == kDeepestTree) {
        return;
    }
    std::array<char, 4096> buffer;
    auto children = readFile(folder + "/task/" + number + "/children", buffer);
    pid_t child = 0;
    while (takeNumber(children, child)) {
        look(child, depth + 1, sample);
    }
}

/// Waits one interval, less when the process behind `pidfd` ends.
void pause(int pidfd) {
    pollfd process{pidfd, POLLIN, 0};
    const timespec interval{0, kInterval.count()};
    ppoll(&process, 1, &interval, nullptr);
}

std::optional<std::string> describeEnd(int status) {
    if (WIFSIGNALED(status)) {
        const int number = WTERMSIG(status);
        return "was ended at once by signal " + std::to_string(number) + " (" + strsignal(number) + ')';
    }
    if (WEXITSTATUS(status) != 0) {
        return "ended at once with exit status " + std::to_string(WEXITSTATUS(status));
    }
    return std::nullopt;
}

} // namespace

std::optional<std::string> failureAtOnce(pid_t child) {
    // The default slack of timers is a third of the interval.
    prctl(PR_SET_TIMERSLACK, 1);
    const auto deadline = Clock::now() + kLongestWatch;
    const auto workBefore = workOf(child);
    const int pidfd = static_cast<int>(syscall(SYS_pidfd_open, child, 0));
    int asleep = 0;
    bool settled = false;
    int status = 0;
    pid_t ended = 0;
    while (true) {
        pause(pidfd);
        ended = waitpid(child, &status, WNOHANG);
        if (ended != 0 || settled) {
            break;
        }
        Sample sample;
        look(child, 0, sample);
        asleep = sample.asleep ? asleep + 1 : 0;
        settled = asleep >= kEnoughSleep || sample.mostWork - workBefore >= kEnoughWork || Clock::now() >= deadline;
    }
    if (pidfd >= 0) {
        close(pidfd);
    }
    return ended == child ? describeEnd(status) : std::nullopt;
}

} // namespace vantorel
