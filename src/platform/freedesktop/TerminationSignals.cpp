#include "platform/freedesktop/TerminationSignals.h"

#include <QSocketNotifier>

#include <array>
#include <csignal>

#include <fcntl.h>
#include <unistd.h>

namespace vantorel {

namespace {

std::array<int, 2> g_pipe = {-1, -1};

// Nothing but a write is allowed in here.
void onSignal(int) {
    const char byte = 0;
    [[maybe_unused]] const ssize_t written = write(g_pipe[1], &byte, 1);
}

} // namespace

TerminationSignals::TerminationSignals() {
    if (pipe2(g_pipe.data(), O_CLOEXEC | O_NONBLOCK) != 0)
        return;
    auto* const notifier = new QSocketNotifier(g_pipe[0], QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, [this] {
        char byte = 0;
        while (read(g_pipe[0], &byte, 1) > 0) { }
        Q_EMIT received();
    });
    struct sigaction action { };
    action.sa_handler = onSignal;
    action.sa_flags = SA_RESTART;
    sigset_t handled;
    sigemptyset(&handled);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        sigaction(signal, &action, nullptr);
        sigaddset(&handled, signal);
    }
    // Whoever started the program may have blocked them.
    pthread_sigmask(SIG_UNBLOCK, &handled, nullptr);
}

} // namespace vantorel
