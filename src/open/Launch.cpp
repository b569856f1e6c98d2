#include "Launch.h"

#include "platform/freedesktop/DesktopEntry.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <string_view>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vantorel {

namespace {

constexpr std::string_view kFileVariable = "GIO_LAUNCHED_DESKTOP_FILE=";
constexpr std::string_view kPidVariable = "GIO_LAUNCHED_DESKTOP_FILE_PID=";
constexpr std::array<std::string_view, 5> kNotPassedOn = {
    kFileVariable, kPidVariable, "DBUS_STARTER_ADDRESS=", "DBUS_STARTER_BUS_TYPE=", "VANTOREL_TURN="};
constexpr std::size_t kMostDigits = 20;

enum class Step { Prepare, EnterFolder, Execute };

/// What the new process tells when it could not become the program.
struct Failure {
    Step step;
    int error;
};

/// Everything the new process needs, made ready before there is one: after the fork it may not allocate.
struct Plan {
    std::string program;
    std::string folder;
    std::vector<char*> arguments;
    std::vector<std::string> variables;
    std::vector<char*> environment;
    char* pidDigits = nullptr; ///< where the new process writes its own id
    int nullDevice = -1;
};

bool isPassedOn(std::string_view variable) {
    for (const auto name : kNotPassedOn) {
        if (variable.starts_with(name)) {
            return false;
        }
    }
    return true;
}

void fill(Plan& plan, const DesktopEntry& entry, const std::vector<std::string>& arguments) {
    for (const auto& argument : arguments) {
        plan.arguments.push_back(const_cast<char*>(argument.c_str()));
    }
    plan.arguments.push_back(nullptr);
    for (char** variable = environ; *variable; ++variable) {
        if (isPassedOn(*variable)) {
            plan.environment.push_back(*variable);
        }
    }
    plan.variables.push_back(std::string(kFileVariable) + entry.path);
    plan.variables.push_back(std::string(kPidVariable) + std::string(kMostDigits, '\0'));
    for (auto& variable : plan.variables) {
        plan.environment.push_back(variable.data());
    }
    plan.environment.push_back(nullptr);
    plan.pidDigits = plan.variables.back().data() + kPidVariable.size();
}

// From here to the execution only async-signal-safe calls are allowed.

void writeDigits(char* to, pid_t number) {
    std::array<char, kMostDigits> digits{};
    std::size_t count = 0;
    for (; number > 0; number /= 10) {
        digits[count++] = static_cast<char>('0' + number % 10);
    }
    while (count > 0) {
        *to++ = digits[--count];
    }
}

void resetSignals() {
    struct sigaction action { };
    action.sa_handler = SIG_DFL;
    for (int number = 1; number < NSIG; ++number) {
        sigaction(number, &action, nullptr);
    }
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

[[noreturn]] void giveUp(int report, Step step) {
    const Failure failure{step, errno};
    [[maybe_unused]] const auto written = write(report, &failure, sizeof failure);
    _exit(127);
}

[[noreturn]] void become(const Plan& plan, int report) {
    setsid();
    resetSignals();
    for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (dup2(plan.nullDevice, standard) < 0) {
            giveUp(report, Step::Prepare);
        }
    }
    constexpr int kReport = STDERR_FILENO + 1;
    if (report != kReport && dup3(report, kReport, O_CLOEXEC) < 0) {
        giveUp(report, Step::Prepare);
    }
    closefrom(kReport + 1);
    if (!plan.folder.empty() && chdir(plan.folder.c_str()) != 0) {
        giveUp(kReport, Step::EnterFolder);
    }
    writeDigits(plan.pidDigits, getpid());
    execve(plan.program.c_str(), plan.arguments.data(), plan.environment.data());
    giveUp(kReport, Step::Execute);
}

// Back in the process that starts the other.

/// What the new process told; absent when it went on without a word, which is when it became the program.
std::optional<Failure> readFailure(int fd) {
    Failure failure{};
    ssize_t count = 0;
    do {
        count = read(fd, &failure, sizeof failure);
    } while (count < 0 && errno == EINTR);
    return count == sizeof failure ? std::optional(failure) : std::nullopt;
}

std::string describe(const Failure& failure, const Plan& plan) {
    std::string error = std::strerror(failure.error);
    switch (failure.step) {
    case Step::Prepare: return error;
    case Step::EnterFolder: return "its working directory " + plan.folder + ": " + error;
    case Step::Execute: break;
    }
    // The program was there a moment ago: what is missing is what its first line names.
    return plan.program + ": " + error + (failure.error == ENOENT ? " (its interpreter may be missing)" : "");
}

} // namespace

std::optional<pid_t> launch(const DesktopEntry& entry, const std::vector<std::string>& arguments, std::string& whyNot) {
    const auto refuse = [&](const std::string& why) {
        whyNot = '"' + entry.name + "\" cannot be started: " + why;
        return std::nullopt;
    };
    Plan plan;
    plan.program = entry.terminal ? arguments.front() : entry.program;
    plan.folder = entry.workingDirectory;
    fill(plan, entry, arguments);
    std::array<int, 2> report{-1, -1};
    plan.nullDevice = open("/dev/null", O_RDWR | O_CLOEXEC);
    if (plan.nullDevice < 0 || pipe2(report.data(), O_CLOEXEC) != 0) {
        return refuse(std::strerror(errno));
    }
    const pid_t pid = fork();
    if (pid == 0) {
        become(plan, report[1]);
    }
    const int forkError = errno;
    close(report[1]);
    close(plan.nullDevice);
    const auto failure = pid > 0 ? readFailure(report[0]) : std::nullopt;
    close(report[0]);
    if (pid < 0) {
        return refuse(std::strerror(forkError));
    }
    if (failure) {
        waitpid(pid, nullptr, 0);
        return refuse(describe(*failure, plan));
    }
    return pid;
}

} // namespace vantorel
