#pragma once

namespace vantorel {

/// Sends what the program logs through Qt to the system journal where there is one, else to standard error, one line a
/// message with its category and level. From any thread.
void installSystemLog();

} // namespace vantorel
