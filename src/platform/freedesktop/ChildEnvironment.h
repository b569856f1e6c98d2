#pragma once

#include <string>
#include <vector>

namespace vantorel {

/// The environment that this program hands on to what it starts, as NAME=VALUE: without what told this program how it
/// was started itself. Main thread only.
std::vector<std::string> childEnvironment();

/// What exec() and its like take; valid as long as the texts are.
std::vector<char*> execPointers(std::vector<std::string>& texts);

} // namespace vantorel
