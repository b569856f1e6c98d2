#include "platform/freedesktop/DetachedProgram.h"

#include "platform/freedesktop/ChildEnvironment.h"
#include "platform/freedesktop/UniqueFd.h"

#include <QCoreApplication>
#include <QPointer>
#include <QSocketNotifier>
#include <QTimer>

#include <csignal>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
extern "C" { // glibc 2.36 forgets to say so itself
#include <sys/pidfd.h>
}

namespace vantorel {

namespace {

// The process id; 0 when the program could not be started.
pid_t spawnInOwnSession(const QByteArrayList& command) {
    std::vector<std::string> arguments;
    for (const QByteArray& argument : command)
        arguments.push_back(argument.toStdString());
    std::vector<std::string> environment = childEnvironment();

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDWR, 0);
    posix_spawn_file_actions_adddup2(&actions, STDIN_FILENO, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, STDIN_FILENO, STDERR_FILENO);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t none;
    sigemptyset(&none);
    sigset_t all;
    sigfillset(&all);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &all);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSID);
    pid_t pid = 0;
    const int error = posix_spawnp(&pid, arguments.front().c_str(), &actions, &attributes,
                                   execPointers(arguments).data(), execPointers(environment).data());
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    return error == 0 ? pid : 0;
}

} // namespace

void startDetached(QObject* context, const QByteArrayList& command, std::chrono::milliseconds patience,
                   std::function<void(bool isWell)> settled) {
    auto tell = [context = QPointer(context), settled = std::move(settled), isTold = false](bool isWell) mutable {
        if (context && !std::exchange(isTold, true))
            settled(isWell);
    };
    const auto tellOnce = std::make_shared<decltype(tell)>(std::move(tell));
    const pid_t pid = spawnInOwnSession(command);
    if (pid == 0) {
        QTimer::singleShot(0, context, [tellOnce] { (*tellOnce)(false); });
        return;
    }
    // Stays until that program ends, however late, or this one, so that no zombie is left of it.
    const auto process = std::make_shared<UniqueFd>(pidfd_open(pid, 0));
    auto* const notifier = new QSocketNotifier(process->get(), QSocketNotifier::Read, QCoreApplication::instance());
    QObject::connect(notifier, &QSocketNotifier::activated, notifier, [notifier, process, tellOnce] {
        siginfo_t end{};
        waitid(P_PIDFD, static_cast<id_t>(process->get()), &end, WEXITED);
        notifier->setEnabled(false);
        notifier->deleteLater();
        (*tellOnce)(end.si_code == CLD_EXITED && end.si_status == 0);
    });
    QTimer::singleShot(patience, context, [tellOnce] { (*tellOnce)(true); });
}

} // namespace vantorel
