// vantorel-open -b ID LINK: opens one link in one application.
//
// The exit status is 0 when the application was started with the link (or has taken it over the session bus), 1 with
// one line of reason on standard error when not, and 2 when the arguments are wrong.

#include "open/Activation.h"
#include "open/ChosenBrowser.h"
#include "open/ExecLine.h"
#include "open/Launch.h"
#include "open/Settling.h"
#include "open/Turn.h"
#include "platform/freedesktop/DesktopEntry.h"
#include "platform/freedesktop/LinkHandOn.h"
#include "platform/freedesktop/Round.h"

#include <array>
#include <csignal>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace vantorel {

namespace {

enum ExitStatus { kOpened = 0, kRefused = 1, kWrongArguments = 2 };

// Descriptors opened later must not pass for the standard ones, and a disposition inherited from whoever starts us
// must neither hide how the browser ended nor end us for want of a reader.
void makeSurroundingsSane() {
    while (true) {
        const int fd = open("/dev/null", O_RDWR | O_CLOEXEC);
        if (fd < 0 || fd > STDERR_FILENO) {
            close(fd);
            break;
        }
    }
    std::signal(SIGCHLD, SIG_DFL);
    std::signal(SIGPIPE, SIG_IGN);
}

void printReason(std::string reason) {
    for (char& c : reason) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte == 0x7f) {
            c = '?';
        }
    }
    reason += '\n';
    std::fwrite(reason.data(), 1, reason.size(), stderr);
}

/// What a starter that did not know it before tells on standard input: the round, and our arguments, each ended by a 0.
/// Nothing when there is nothing to open after all.
std::vector<std::string> readArguments() {
    std::string text;
    std::array<char, 4096> buffer;
    for (ssize_t count = 0; (count = read(STDIN_FILENO, buffer.data(), buffer.size())) > 0;) {
        text.append(buffer.data(), static_cast<std::size_t>(count));
    }
    std::vector<std::string> arguments;
    for (std::size_t end = 0, start = 0; (end = text.find('\0', start)) != std::string::npos; start = end + 1) {
        arguments.push_back(text.substr(start, end - start));
    }
    return arguments;
}

bool activate(const DesktopEntry& entry, const std::string& link, Turn& turn, std::string& whyNot) {
    if (openThroughBus(entry.id, link, turn, whyNot)) {
        return true;
    }
    whyNot = '"' + entry.name + "\" did not take the link: " + whyNot;
    return false;
}

bool execute(const DesktopEntry& entry, const std::string& link, Turn& turn, std::string& whyNot) {
    auto arguments = expandExec(entry, link, whyNot);
    if (!arguments) {
        return false;
    }
    if (entry.terminal) {
        arguments->front() = entry.program;
        arguments = inTerminal(std::move(*arguments));
        if (!arguments) {
            whyNot = '"' + entry.name + "\" needs a terminal emulator, and none is installed";
            return false;
        }
    }
    turn.await();
    const auto browser = launch(entry, *arguments, whyNot);
    const auto failure = browser ? failureAtOnce(*browser) : std::nullopt;
    if (failure) {
        whyNot = '"' + entry.name + "\" " + *failure;
    }
    return browser && !failure;
}

bool openLink(std::string_view id, const std::string& link, Turn& turn, std::string& whyNot) {
    // No link begins like that, and a browser would take it for an option.
    if (link.empty() || link.starts_with('-')) {
        whyNot = '"' + link + "\" is no link";
        return false;
    }
    const auto entry = findDesktopEntry(id, &whyNot);
    if (!entry) {
        return false;
    }
    const Round round = roundOf(link);
    if (round.isTooMany()) {
        whyNot = '"' + entry->name + "\" keeps handing the link back to Vantorel";
        return false;
    }
    setRound(round);
    if (LinkHandOn().leadsBack(*entry, [&link] { return chosenFor(link); })) {
        whyNot = '"' + entry->name + "\" would hand the link back to Vantorel";
        return false;
    }
    return entry->dbusActivatable ? activate(*entry, link, turn, whyNot) : execute(*entry, link, turn, whyNot);
}

int run(int argc, char** argv) {
    makeSurroundingsSane();
    Turn turn;
    std::vector<std::string> arguments(argv + 1, argv + argc);
    if (arguments == std::vector<std::string>{"-"} && turn.isGiven()) { // by the program, see SpawnRunner::prepare()
        arguments = readArguments();
        if (arguments.empty()) {
            turn.await();
            return kOpened;
        }
        inheritRound(arguments.front());
        arguments.erase(arguments.begin());
    }
    if (arguments.size() != 3 || arguments.front() != "-b") {
        std::fputs("usage: vantorel-open -b ID LINK\n", stderr);
        return kWrongArguments;
    }
    std::string whyNot;
    const bool opened = openLink(arguments[1], arguments[2], turn, whyNot);
    if (!opened) {
        printReason(std::move(whyNot));
    }
    // One that fails early must not let its successor overtake those before it.
    turn.await();
    return opened ? kOpened : kRefused;
}

} // namespace

} // namespace vantorel

int main(int argc, char** argv) {
    return vantorel::run(argc, argv);
}
