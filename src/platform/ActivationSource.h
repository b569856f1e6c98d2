#pragma once

#include <QString>

#include <functional>
#include <optional>

namespace vantorel {

/// Which application the user is working with, as the desktop tells. Main thread only.
class ActivationSource {
public:
    using Activated = std::function<void(const std::optional<QString>& bundleID)>;

    virtual ~ActivationSource() = default;

    /// Reports each application that becomes active from now on; absent where it cannot be named. Called once, and
    /// calls back from the event loop only.
    virtual void start(Activated activated) = 0;

    /// The application that is active at this moment. Takes a short, bounded time whatever state the desktop is in;
    /// absent when there is no answer by then.
    virtual std::optional<QString> frontmost() = 0;
};

} // namespace vantorel
