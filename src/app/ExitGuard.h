#pragma once

#include <functional>

namespace vantorel {

/// While it lives, a library that ends the program by exit() or _exit() does not get its way: `instead` is called on
/// the main thread, and must not return; it is called again from within itself when what it does ends in the same way.
/// This is how Qt and Xlib take the loss of an X server, and Qt that of a Wayland
/// compositor, in the middle of whatever they do.
///
/// A handler of atexit() would be too late: by then what was made after its registration has been destroyed.
/// To be made on the main thread; at most one at a time.
class ExitGuard {
public:
    explicit ExitGuard(std::function<void()> instead);
    ~ExitGuard();
    ExitGuard(const ExitGuard&) = delete;
    ExitGuard& operator=(const ExitGuard&) = delete;
};

} // namespace vantorel
