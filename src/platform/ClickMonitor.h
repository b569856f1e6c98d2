#pragma once

#include <functional>

namespace vantorel {

/// Sees presses of the left and the right button in the windows of other applications. Main thread only.
class ClickMonitor {
public:
    using Pressed = std::function<void()>;

    virtual ~ClickMonitor() = default;

    /// Calls back from the event loop, for each press from now on; what is pressed in windows of this program does not
    /// count. Costs nothing while stopped. Does nothing where it runs already, or where the desktop does not tell.
    virtual void start(Pressed pressed) = 0;
    virtual void stop() = 0;
};

} // namespace vantorel
