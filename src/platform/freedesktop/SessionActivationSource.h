#pragma once

#include "platform/freedesktop/ActivationBackend.h"

#include <memory>
#include <vector>

namespace vantorel {

/// Learns in the best of several ways which application is active. While the session has none of them, no application
/// is active as far as this can tell. Main thread only.
///
/// A way is tried only when the session is known to have none of the better ones, and given up when it has a better one
/// again; what one reports counts only while it is the best that there is.
class SessionActivationSource : public QObject, public ActivationSource {
public:
    /// The best way first. Each must answer `frontmost()` within 30 ms.
    explicit SessionActivationSource(std::vector<std::unique_ptr<ActivationBackend>> backends);

    void start(Activated activated) override;

    /// Takes 40 ms at most.
    std::optional<QString> frontmost() override;

private:
    struct Way {
        std::unique_ptr<ActivationBackend> backend;
        bool isStarted = false;
    };

    void choose();
    ActivationBackend* best() const;
    ActivationBackend* firstUnanswered() const;

    std::vector<Way> m_ways;
    Activated m_activated;
};

} // namespace vantorel
