#pragma once

#include "platform/freedesktop/LaunchContext.h"

#include <QString>

#include <optional>

namespace vantorel {

/// How the program puts a new one in its own place: the way to get along without a display that is gone, and back to
/// windows when there is one again. Qt can do neither within one process. The process id stays the same.
namespace Restart {

/// What the next program is to know.
struct Legacy {
    bool isAnew = false; ///< there was a program before this one; nobody has to set it
    bool withoutDisplay = false; ///< it is not even looked for
    bool showsSettings = false; ///< the user has just asked for them
    LaunchContext context = {}; ///< what came along with that wish
    std::optional<QString> lastActiveBundleID = {};
};

/// What the program before this one has left, and nothing when there was none. To be called once, first of all: it
/// takes its traces out of the environment, and sees to the children of the program before.
Legacy inherit();

/// Becomes the new program. Openers that are under way go on, but nothing more is said of how they end, and the next
/// one does not wait for its turn behind them. To be called when everything is saved and the bus name is given up. Ends
/// the process with a failure when there is no new program to be had.
[[noreturn]] void execute(const Legacy& legacy);

} // namespace Restart

} // namespace vantorel
