#pragma once

#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace vantorel {

struct DesktopEntry;

/// Starts the entry's program with these arguments as a process that depends on nothing of ours: a session of its own,
/// /dev/null for input and output, no other descriptor, default signal handling, the entry's working directory.
///
/// Returns its process id once the program has been executed; it stays our child. Absent when it could not be, with
/// one line in `whyNot`. No other thread may change the environment meanwhile.
std::optional<pid_t> launch(const DesktopEntry& entry, const std::vector<std::string>& arguments, std::string& whyNot);

} // namespace vantorel
