#pragma once

#include <functional>

namespace vantorel {

/// While it lives, a library that ends the program by exit() on this thread does not get its way: `instead` is called,
/// which must not return. This is how Qt and Xlib take the loss of an X server, in the middle of whatever they do.
///
/// A handler of atexit() would be too late: by then what was made after its registration has been destroyed.
/// At most one at a time.
class ExitGuard {
public:
    explicit ExitGuard(std::function<void()> instead);
    ~ExitGuard();
    ExitGuard(const ExitGuard&) = delete;
    ExitGuard& operator=(const ExitGuard&) = delete;
};

} // namespace vantorel
