#pragma once

#include "platform/freedesktop/LinkHandOn.h"

#include <string_view>

namespace vantorel {

/// What the user has chosen for links such as `link`: for its scheme, and for web pages where it names a file.
/// Loads GIO, reads the disk; without GIO nothing is known.
LinkHandOn::Choice chosenFor(std::string_view link);

} // namespace vantorel
