#pragma once

#include <QByteArray>
#include <QByteArrayList>
#include <QString>

#include <functional>
#include <optional>

namespace vantorel {

/// Starts child processes and tells how they ended. Main thread only.
class ProcessRunner {
public:
    struct Exit {
        int status; ///< the exit status; for a process that a signal ended, the signal's number
        QByteArray standardError; ///< what it wrote there, or that a signal ended it; empty when the status is 0
    };
    using Finished = std::function<void(const Exit&)>;

    virtual ~ProcessRunner() = default;

    /// Starts the program (an absolute path) and returns at once. Standard output is inherited, and the child is not to
    /// read from standard input; standard error is a new pipe that is read when the child has ended. `finished` is
    /// called once, later, on the main thread, unless the program ends first. When the child cannot be started the
    /// result is the reason, and `finished` is never called.
    virtual std::optional<QString> start(const QByteArray& program, const QByteArrayList& arguments,
                                         Finished finished) = 0;
};

} // namespace vantorel
