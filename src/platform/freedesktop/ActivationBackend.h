#pragma once

#include "platform/ActivationSource.h"

#include <QObject>

namespace vantorel {

struct WindowIdentity;

/// One of the ways in which a desktop may tell which application is active. Which of them a session has shows only when
/// it is asked, and may change while the program runs. Main thread only.
class ActivationBackend : public QObject, public ActivationSource {
    Q_OBJECT

public:
    /// Names the application of a window.
    using Identify = std::function<std::optional<QString>(const WindowIdentity& window)>;

    enum class State {
        unknown, ///< not started, or asked and not answered yet
        absent, ///< the session does not have it, for now
        present, ///< activations are being reported
    };

    State state() const { return m_state; }

    /// Withdraws everything that `start()` asked of the desktop; `start()` may be called again.
    virtual void stop() = 0;

Q_SIGNALS:
    void stateChanged();

protected:
    void setState(State state) {
        if (m_state == state)
            return;
        m_state = state;
        Q_EMIT stateChanged();
    }

private:
    State m_state = State::unknown;
};

} // namespace vantorel
