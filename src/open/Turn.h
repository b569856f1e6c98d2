#pragma once

#include <chrono>
#include <string_view>

namespace vantorel {

/// This process's place among several that were started at once and whose browsers are to start in order.
///
/// VANTOREL_TURN holds two file descriptors, "W,D": the process waits until the pipe W hangs up, and the end of pipe D
/// that it holds tells the next one to go on when it is closed, at the latest when this process exits. W may be -1.
/// One byte in a pipe says that its writer's turn has come: from then on it may only take so long.
/// Without the variable, or when it is malformed, there is nothing to wait for and no one to tell.
class Turn {
public:
    /// Takes the variable out of the environment, so it must come before any thread.
    Turn();
    explicit Turn(std::string_view text);
    ~Turn();
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

    /// Whether it is one of several turns.
    bool isGiven() const { return m_done >= 0; }

    /// Blocks until those before are done, however many there are: for 15 seconds after the turn of the one before has
    /// come, and for five minutes at most.
    void await();
    /// Lets the next one go on.
    void pass();

private:
    void awaitEvent(std::chrono::milliseconds most);

    int m_wait = -1;
    int m_done = -1;
};

} // namespace vantorel
