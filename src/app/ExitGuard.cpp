#include "app/ExitGuard.h"

#include <QCoreApplication>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <thread>
#include <utility>

#include <dlfcn.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

std::function<void()> g_instead;
std::atomic<pid_t> g_thread = 0; // 0 for none

// How long another thread waits for the main one, which may be waiting for it.
constexpr std::chrono::seconds kPatience{2};

void callInstead() {
    if (g_thread != getpid()) // the main thread's id is the process's, also in a child that a library has forked
        return;
    if (g_thread != gettid()) { // several threads may find out at the same time
        QMetaObject::invokeMethod(QCoreApplication::instance(), callInstead, Qt::QueuedConnection);
        std::this_thread::sleep_for(kPatience);
        return;
    }
    g_instead();
}

} // namespace

// The executable's definitions come before those of the C library, in the eyes of all libraries.
extern "C" [[gnu::visibility("default")]] void exit(int status) noexcept {
    callInstead();
    using Exit = void (*)(int);
    reinterpret_cast<Exit>(dlsym(RTLD_NEXT, "exit"))(status);
    std::abort();
}

// NOLINTNEXTLINE(bugprone-reserved-identifier): the name is POSIX's
extern "C" [[gnu::visibility("default")]] void _exit(int status) {
    callInstead();
    for (;;)
        syscall(SYS_exit_group, status); // what may be called in a child that has just been forked
}

namespace vantorel {

ExitGuard::ExitGuard(std::function<void()> instead) {
    g_instead = std::move(instead);
    g_thread = gettid();
}

ExitGuard::~ExitGuard() {
    g_thread = 0;
    g_instead = nullptr;
}

} // namespace vantorel
