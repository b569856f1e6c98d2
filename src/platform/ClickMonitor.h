#pragma once

#include <QPoint>

#include <functional>
#include <optional>

namespace vantorel {

/// Sees presses of the left and the right button in the windows of other applications. Main thread only.
class ClickMonitor {
public:
    /// `position` is where it was, in logical pixels of the whole desktop; absent where the desktop does not tell.
    using Pressed = std::function<void(const std::optional<QPoint>& position)>;

    virtual ~ClickMonitor() = default;

    /// Calls back from the event loop, for each press from now on; what is pressed in windows of this program does not
    /// count. Costs nothing while stopped. Does nothing where it runs already, or where the desktop does not tell.
    virtual void start(Pressed pressed) = 0;
    virtual void stop() = 0;
};

} // namespace vantorel
