#include "platform/freedesktop/SpawnRunner.h"

#include "platform/freedesktop/ChildEnvironment.h"
#include "platform/freedesktop/LaunchContext.h"

#include <QSocketNotifier>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
extern "C" { // glibc 2.36 forgets to say so itself
#include <sys/pidfd.h>
}

namespace vantorel {

namespace {

struct Pipe {
    UniqueFd readEnd;
    UniqueFd writeEnd;
};

std::optional<Pipe> makePipe() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        return std::nullopt;
    return Pipe{UniqueFd(ends[0]), UniqueFd(ends[1])};
}

// The environment that a browser is to have, with the launch context.
std::vector<std::string> environmentWith(const LaunchContext& context, int waitForTurn, int holdTurn) {
    std::vector<std::string> variables = childEnvironment();
    if (!context.activationToken.isEmpty())
        variables.push_back("XDG_ACTIVATION_TOKEN=" + context.activationToken.toStdString());
    if (!context.startupID.isEmpty())
        variables.push_back("DESKTOP_STARTUP_ID=" + context.startupID.toStdString());
    if (!context.round.isEmpty())
        variables.push_back("VANTOREL_ROUND=" + context.round.toStdString());
    variables.push_back("VANTOREL_TURN=" + std::to_string(waitForTurn) + ',' + std::to_string(holdTurn));
    return variables;
}

// Starts the program with default signals, with these descriptors in the place of its standard ones and the `kept` ones
// under the numbers they have here. Returns 0 or an errno.
int execute(std::vector<std::string> argv, std::vector<std::string> environment, int standardInput, int standardError,
            std::initializer_list<int> kept, pid_t& pid) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, standardInput, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, standardError, STDERR_FILENO);
    for (const int fd : kept) {
        if (fd >= 0)
            posix_spawn_file_actions_adddup2(&actions, fd, fd); // clears close-on-exec in the child alone
    }

    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t none;
    sigemptyset(&none);
    sigset_t all;
    sigfillset(&all);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &all);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);

    const int error = posix_spawn(&pid, argv.front().c_str(), &actions, &attributes, execPointers(argv).data(),
                                  execPointers(environment).data());
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    return error;
}

// What there is to read now. The writer has ended: nothing more is worth waiting for, even if it left the other end to
// somebody else.
QByteArray readAvailable(int fd) {
    fcntl(fd, F_SETFL, O_NONBLOCK);
    QByteArray text;
    char buffer[4096];
    for (ssize_t count = 0; (count = read(fd, buffer, sizeof buffer)) > 0;)
        text.append(buffer, count);
    return text;
}

QString words(int error) {
    return QString::fromLocal8Bit(std::strerror(error));
}

} // namespace

SpawnRunner::SpawnRunner(const LaunchContext& context) : m_context(context) {
    getrlimit(RLIMIT_NOFILE, &m_fileLimit);
    const rlimit raised{.rlim_cur = m_fileLimit.rlim_max, .rlim_max = m_fileLimit.rlim_max};
    setrlimit(RLIMIT_NOFILE, &raised);
}

std::optional<QString> SpawnRunner::start(const QByteArray& program, const QByteArrayList& arguments,
                                          Finished finished) {
    if (tellPrepared(program, arguments)) {
        watch(std::move(m_prepared->child), std::move(finished));
        m_prepared.reset(); // the end of what it is told
        return std::nullopt;
    }
    dismissPrepared();
    Child child;
    auto whyNot = spawn(program, arguments, STDIN_FILENO, child);
    if (!whyNot)
        watch(std::move(child), std::move(finished));
    return whyNot;
}

void SpawnRunner::prepare(const QByteArray& program) {
    dismissPrepared();
    auto pipe = makePipe();
    Child child;
    if (!pipe || spawn(program, {"-"}, pipe->readEnd.get(), child))
        return; // there may be no need for it, and whoever has the need will be told
    m_prepared = Prepared{program, m_context, std::move(child), std::move(pipe->writeEnd)};
    QMetaObject::invokeMethod(this, &SpawnRunner::dismissPrepared, Qt::QueuedConnection);
}

// All at once or nothing, and without a wait for the reader, which is what pipes do with so much at most.
bool SpawnRunner::tellPrepared(const QByteArray& program, const QByteArrayList& arguments) {
    if (!m_prepared || m_prepared->program != program
        || m_prepared->context.activationToken != m_context.activationToken
        || m_prepared->context.startupID != m_context.startupID)
        return false;
    QByteArray text = m_context.round + '\0';
    for (const QByteArray& argument : arguments)
        text += argument + '\0';
    return text.size() <= PIPE_BUF
        && write(m_prepared->arguments.get(), text.constData(), static_cast<std::size_t>(text.size())) == text.size();
}

void SpawnRunner::dismissPrepared() {
    if (auto prepared = std::exchange(m_prepared, std::nullopt))
        watch(std::move(prepared->child), [](const Exit&) {});
}

std::optional<QString> SpawnRunner::spawn(const QByteArray& program, const QByteArrayList& arguments, int standardInput,
                                          Child& child) {
    auto standardError = makePipe();
    auto turn = makePipe();
    if (!standardError || !turn)
        return words(errno);

    std::vector<std::string> argv{program.toStdString()};
    for (const QByteArray& argument : arguments)
        argv.push_back(argument.toStdString());
    pid_t pid = 0;
    const int error =
        execute(std::move(argv), environmentWith(m_context, m_previousTurn.get(), turn->writeEnd.get()), standardInput,
                standardError->writeEnd.get(), {m_previousTurn.get(), turn->writeEnd.get()}, pid);
    if (error != 0)
        return words(error);
    prlimit(pid, RLIMIT_NOFILE, &m_fileLimit, nullptr);

    // The child's ends are closed first, so that there is room for one more descriptor whatever the limit.
    standardError->writeEnd.reset();
    turn->writeEnd.reset();
    m_previousTurn = std::move(turn->readEnd);
    child = {UniqueFd(pidfd_open(pid, 0)), std::move(standardError->readEnd)};
    return std::nullopt;
}

void SpawnRunner::watch(Child child, Finished finished) {
    struct Watched {
        Child child;
        Finished finished;
    };
    const auto watched = std::make_shared<Watched>(Watched{std::move(child), std::move(finished)});
    auto* const notifier = new QSocketNotifier(watched->child.process.get(), QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, [notifier, watched] {
        const auto& [process, standardError] = watched->child;
        siginfo_t info{};
        waitid(P_PIDFD, static_cast<id_t>(process.get()), &info, WEXITED);
        notifier->setEnabled(false);
        notifier->deleteLater();
        QByteArray said = info.si_status == 0 ? QByteArray() : readAvailable(standardError.get());
        if (info.si_code != CLD_EXITED && said.isEmpty())
            said = "ended by signal " + QByteArray::number(info.si_status);
        watched->finished({.status = info.si_status, .standardError = std::move(said)});
    });
}

} // namespace vantorel
