#include "Turn.h"

#include <charconv>
#include <chrono>
#include <cstdlib>
#include <string>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vantorel {

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* kVariable = "VANTOREL_TURN";

// A burst of a thousand links keeps the last of them waiting for many seconds on a slow machine. One turn takes a tenth
// of a second at most, unless something is badly stuck.
constexpr std::chrono::milliseconds kLongestWait{300'000};
constexpr std::chrono::milliseconds kLongestTurn{15'000};

bool readNumber(std::string_view text, int& number) {
    const auto* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stop == end;
}

// A variable that some other program handed down names descriptors that are something else by now.
bool isPipe(int fd) {
    struct stat status { };
    return fd >= 0 && fstat(fd, &status) == 0 && S_ISFIFO(status.st_mode);
}

std::string takeVariable() {
    const char* value = std::getenv(kVariable);
    std::string text = value ? value : "";
    unsetenv(kVariable);
    return text;
}

void closeAndForget(int& fd) {
    if (const int open = std::exchange(fd, -1); open >= 0) {
        close(open);
    }
}

} // namespace

Turn::Turn() : Turn(takeVariable()) { }

Turn::Turn(std::string_view text) {
    const auto comma = text.find(',');
    int wait = -1;
    int done = -1;
    if (comma == std::string_view::npos || !readNumber(text.substr(0, comma), wait)
        || !readNumber(text.substr(comma + 1), done)) {
        return;
    }
    if ((wait != -1 && !isPipe(wait)) || !isPipe(done) || wait == done) {
        return;
    }
    m_wait = wait;
    m_done = done;
    if (m_wait >= 0) {
        fcntl(m_wait, F_SETFD, FD_CLOEXEC);
    }
    fcntl(m_done, F_SETFD, FD_CLOEXEC);
}

Turn::~Turn() {
    closeAndForget(m_wait);
    closeAndForget(m_done);
}

void Turn::await() {
    awaitEvent(kLongestWait);
    awaitEvent(kLongestTurn);
    closeAndForget(m_wait);
    if (m_done >= 0) {
        const char byte = 0;
        [[maybe_unused]] const auto written = write(m_done, &byte, 1);
    }
}

// Waits for a byte, or for the end, after which there is nothing to wait for any more.
void Turn::awaitEvent(std::chrono::milliseconds most) {
    const auto deadline = Clock::now() + most;
    while (m_wait >= 0) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        pollfd end{m_wait, POLLIN, 0};
        const int count = left.count() > 0 ? poll(&end, 1, static_cast<int>(left.count())) : 0;
        if (count < 0) {
            continue;
        }
        char byte = 0;
        if (count > 0 && read(m_wait, &byte, 1) <= 0) {
            closeAndForget(m_wait);
        }
        return;
    }
}

void Turn::pass() {
    closeAndForget(m_done);
}

} // namespace vantorel
