#pragma once

#include <chrono>

namespace vantorel {

/// Whether the compositor that WAYLAND_DISPLAY names answers. Takes no longer than `patience`, whatever state the
/// compositor is in. Needs no application object.
bool waylandDisplayAnswers(std::chrono::milliseconds patience);

} // namespace vantorel
