#include "Sandbox.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QThread>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

// Generous: a sanitizer on a busy computer is slow, and nothing waits this long unless it failed.
constexpr int kPatienceMilliseconds = 60000;
constexpr int kPollMilliseconds = 5;

std::vector<char*> pointers(QByteArrayList& list) {
    std::vector<char*> result;
    for (auto& text : list) {
        result.push_back(text.data());
    }
    result.push_back(nullptr);
    return result;
}

/// Appends what has come through `fd`; closes it and sets it to -1 at its end.
void drain(int& fd, QByteArray& to) {
    char buffer[4096];
    const auto count = ::read(fd, buffer, sizeof buffer);
    if (count > 0) {
        to.append(buffer, count);
    } else {
        ::close(std::exchange(fd, -1));
    }
}

} // namespace

Command::Command(const QByteArrayList& arguments, const QMap<QByteArray, QByteArray>& environment,
                 const std::vector<int>& inherited) {
    Pipe output;
    Pipe errors;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, output.writeEnd(), STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, errors.writeEnd(), STDERR_FILENO);
    for (const int fd : inherited) {
        posix_spawn_file_actions_adddup2(&actions, fd, fd);
    }
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);

    auto argumentTexts = arguments;
    QByteArrayList variables;
    for (auto it = environment.begin(); it != environment.end(); ++it) {
        variables.append(it.key() + '=' + it.value());
    }
    if (posix_spawn(&m_pid, arguments.front().constData(), &actions, &attributes, pointers(argumentTexts).data(),
                    pointers(variables).data())
        != 0) {
        qFatal("%s cannot be started", arguments.front().constData());
    }
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    m_output = fcntl(output.readEnd(), F_DUPFD_CLOEXEC, 3);
    m_errors = fcntl(errors.readEnd(), F_DUPFD_CLOEXEC, 3);
}

Command::Command(Command&& other) noexcept
    : m_pid(std::exchange(other.m_pid, -1))
    , m_output(std::exchange(other.m_output, -1))
    , m_errors(std::exchange(other.m_errors, -1))
    , m_status(other.m_status)
    , m_reaped(other.m_reaped) { }

Command::~Command() {
    if (m_pid > 0 && isRunning()) {
        kill(m_pid, SIGKILL);
        reap(0);
    }
    for (const int fd : {m_output, m_errors}) {
        if (fd >= 0) {
            ::close(fd);
        }
    }
}

void Command::reap(int options) {
    if (!m_reaped) {
        m_reaped = waitpid(m_pid, &m_status, options) == m_pid;
    }
}

bool Command::isRunning() {
    reap(WNOHANG);
    return !m_reaped;
}

bool Command::waitForOutput() const {
    pollfd end{m_output, POLLIN, 0};
    return poll(&end, 1, kPatienceMilliseconds) == 1 && (end.revents & POLLIN) != 0;
}

Outcome Command::finish() {
    Outcome outcome;
    const QDeadlineTimer deadline(kPatienceMilliseconds);
    while ((m_output >= 0 || m_errors >= 0) && !deadline.hasExpired()) {
        pollfd ends[] = {{m_output, POLLIN, 0}, {m_errors, POLLIN, 0}};
        poll(ends, 2, static_cast<int>(deadline.remainingTime()));
        if (ends[0].revents != 0) {
            drain(m_output, outcome.output);
        }
        if (ends[1].revents != 0) {
            drain(m_errors, outcome.errors);
        }
    }
    if (deadline.hasExpired()) {
        kill(m_pid, SIGKILL);
    }
    reap(0);
    outcome.status = WIFEXITED(m_status) ? WEXITSTATUS(m_status) : -WTERMSIG(m_status);
    return outcome;
}

Pipe::Pipe() {
    if (pipe2(m_ends, O_CLOEXEC) != 0) {
        qFatal("no pipe");
    }
}

Pipe::Pipe(Pipe&& other) noexcept {
    std::swap(m_ends[0], other.m_ends[0]);
    std::swap(m_ends[1], other.m_ends[1]);
}

Pipe::~Pipe() {
    close(0);
    close(1);
}

void Pipe::close(int end) {
    if (const int fd = std::exchange(m_ends[end], -1); fd >= 0) {
        ::close(fd);
    }
}

bool Pipe::hungUp(int milliseconds) const {
    pollfd end{m_ends[0], POLLIN, 0};
    while (poll(&end, 1, milliseconds) == 1) {
        // The byte that tells of a turn comes before the end.
        char byte = 0;
        if (read(m_ends[0], &byte, 1) <= 0) {
            return true;
        }
    }
    return false;
}

Sandbox::Sandbox() {
    for (const char* folder : {"home", "data/applications", "system/applications", "runtime", "bin", "seen"}) {
        QDir(m_root.path()).mkpath(QString::fromLatin1(folder));
    }
    environment = {
        {"HOME", path("home")},
        {"PATH", path("bin") + ":/usr/bin:/bin"},
        {"XDG_DATA_HOME", path("data")},
        {"XDG_DATA_DIRS", path("system")},
        {"XDG_RUNTIME_DIR", path("runtime")},
        // A bus that does not exist, or the one of the desktop would be looked for.
        {"DBUS_SESSION_BUS_ADDRESS", "unix:path=" + path("bus")},
    };
    for (const char* variable : {"ASAN_OPTIONS", "TSAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS"}) {
        if (const char* value = std::getenv(variable)) {
            environment.insert(variable, value);
        }
    }
}

Sandbox::~Sandbox() {
    const auto files = QDir(QString::fromUtf8(path("seen"))).entryList({QStringLiteral("*.pid")}, QDir::Files);
    for (const auto& file : files) {
        if (const int pid = read("seen/" + file.toUtf8()).trimmed().toInt(); pid > 1) {
            kill(pid, SIGKILL);
        }
    }
}

void Sandbox::write(const QByteArray& name, const QByteArray& content, bool executable) const {
    const auto file = QString::fromUtf8(path(name));
    QDir().mkpath(QFileInfo(file).path());
    QFile writer(file);
    if (!writer.open(QIODevice::WriteOnly | QIODevice::Truncate) || writer.write(content) != content.size()) {
        qFatal("%s cannot be written", qPrintable(file));
    }
    writer.close();
    chmod(path(name).constData(), executable ? 0755 : 0644);
}

QByteArray Sandbox::read(const QByteArray& name) const {
    QFile file(QString::fromUtf8(path(name)));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool Sandbox::exists(const QByteArray& name) const {
    return access(path(name).constData(), F_OK) == 0;
}

bool Sandbox::waitFor(const QByteArray& name) const {
    const QDeadlineTimer deadline(kPatienceMilliseconds);
    while (!exists(name)) {
        if (deadline.hasExpired()) {
            return false;
        }
        QThread::msleep(kPollMilliseconds);
    }
    return true;
}

void Sandbox::addEntry(const QByteArray& id, const QByteArray& keys) const {
    write("data/applications/" + id + ".desktop",
          "[Desktop Entry]\nType=Application\nName=The " + id + '\n' + keys + '\n');
}

void Sandbox::addBrowser(const QByteArray& name, const QByteArray& end) const {
    const auto seen = path("seen/" + name);
    // The last file stands under its name only when all of them are complete.
    write("bin/" + name,
          "#!/bin/sh\n"
          "printf '%s\\0' \"$@\" >'"
              + seen
              + ".arguments'\n"
                "/usr/bin/env -0 >'"
              + seen
              + ".environment'\n"
                "pwd >'"
              + seen
              + ".folder'\n"
                "echo $$ >'"
              + seen
              + ".new'\n"
                "/bin/mv '"
              + seen + ".new' '" + seen + ".pid'\n" + end + '\n',
          true);
}

void Sandbox::addApplication(const QByteArray& id, const QByteArray& end) const {
    addBrowser(id, end);
    addEntry(id, "Exec=" + id + " %u");
}

QByteArrayList Sandbox::argumentsOf(const QByteArray& name) const {
    waitFor("seen/" + name + ".pid");
    auto list = read("seen/" + name + ".arguments").split('\0');
    list.removeLast();
    return list;
}

QByteArrayList Sandbox::environmentOf(const QByteArray& name) const {
    waitFor("seen/" + name + ".pid");
    return read("seen/" + name + ".environment").split('\0');
}

QByteArray Sandbox::folderOf(const QByteArray& name) const {
    waitFor("seen/" + name + ".pid");
    return read("seen/" + name + ".folder").trimmed();
}

pid_t Sandbox::pidOf(const QByteArray& name) const {
    return waitFor("seen/" + name + ".pid") ? read("seen/" + name + ".pid").trimmed().toInt() : -1;
}

Command Sandbox::start(const QByteArray& id, const QByteArray& link, const std::vector<int>& inherited) const {
    return {{VANTOREL_OPEN, "-b", id, link}, environment, inherited};
}
