#pragma once

#include "platform/ProcessRunner.h"
#include "platform/freedesktop/UniqueFd.h"

#include <QObject>

#include <sys/resource.h>

namespace vantorel {

struct LaunchContext;

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

private:
    void watch(int processFd, UniqueFd standardError, Finished finished);

    const LaunchContext& m_context;
    rlimit m_fileLimit{}; // as this process was started
    UniqueFd m_previousTurn; // hangs up when the child that was started last has had its turn
};

} // namespace vantorel
