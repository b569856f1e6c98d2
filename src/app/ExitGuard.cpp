#include "app/ExitGuard.h"

#include <cstdlib>
#include <utility>

#include <dlfcn.h>
#include <unistd.h>

namespace {

std::function<void()> g_instead;
pid_t g_thread = 0; // 0 for none; a child that a library forks is another one

} // namespace

// The executable's definition comes before the one of the C library, in the eyes of all libraries.
extern "C" [[gnu::visibility("default"), noreturn]] void exit(int status) noexcept {
    if (g_thread == gettid()) {
        g_thread = 0;
        g_instead();
    }
    using Exit = void (*)(int);
    reinterpret_cast<Exit>(dlsym(RTLD_NEXT, "exit"))(status);
    std::abort();
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
