#pragma once

#include <optional>
#include <string>

#include <sys/types.h>

namespace vantorel {

/// Watches a child that has just been executed until it has visibly got going: it or a process it started has worked
/// for a while, all of them have fallen asleep, or it ended with success. Takes a few milliseconds, at most a tenth of
/// a second.
///
/// Returns how the child failed when it did so meanwhile, as the rest of a sentence about it ("ended at once with exit
/// status 3"); absent when all is well. A child that ended has been waited for.
std::optional<std::string> failureAtOnce(pid_t child);

} // namespace vantorel
