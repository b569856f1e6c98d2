#pragma once

#include "platform/ProcessRunner.h"
#include "platform/freedesktop/LaunchContext.h"
#include "platform/freedesktop/UniqueFd.h"

#include <QObject>

#include <sys/resource.h>

namespace vantorel {

/// Starts children with posix_spawn and waits for them with process descriptors.
///
/// Each child gets the current launch context in its environment, and VANTOREL_TURN: two pipe ends through which
/// children that are started at the same time take turns, so that links reach browsers in the order of their start.
/// The runner raises this process's soft limit on open files, as a burst of links needs two for each; children get
/// back the limit that this process was started with.
class SpawnRunner : public QObject, public ProcessRunner {
    Q_OBJECT

public:
    /// The context must outlive the runner.
    explicit SpawnRunner(const LaunchContext& context);

    std::optional<QString> start(const QByteArray& program, const QByteArrayList& arguments,
                                 Finished finished) override;

    /// Starts the program with "-" alone, so that it is loaded when the next `start()` knows its arguments. It then
    /// gets on standard input the round of the launch context and its arguments, each ended by a 0. A start in which
    /// the rest of the context is another one does not use it. When the event loop goes on without such a start it gets
    /// nothing, and is to end.
    void prepare(const QByteArray& program);

private:
    struct Child {
        UniqueFd process;
        UniqueFd standardError;
    };
    struct Prepared {
        QByteArray program;
        LaunchContext context;
        Child child;
        UniqueFd arguments;
    };

    std::optional<QString> spawn(const QByteArray& program, const QByteArrayList& arguments, int standardInput,
                                 Child& child);
    bool tellPrepared(const QByteArray& program, const QByteArrayList& arguments);
    void dismissPrepared();
    void watch(Child child, Finished finished);

    const LaunchContext& m_context;
    std::optional<Prepared> m_prepared;
    rlimit m_fileLimit{}; // as this process was started
    UniqueFd m_previousTurn; // hangs up when the child that was started last has had its turn
};

} // namespace vantorel
