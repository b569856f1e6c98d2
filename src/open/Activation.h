#pragma once

#include <string>

namespace vantorel {

class Turn;

/// Hands `link` to the application `id` over the session bus: org.freedesktop.Application.Open, as the
/// Desktop Entry Specification describes under "D-Bus Activation", which starts it where it does not run. Blocks until
/// it has answered, at most 30 seconds.
///
/// Awaits `turn` before the call, with everything ready for it, and passes it once the bus has taken the call: what is
/// sent from then on, by whomever, arrives after it.
/// False when the link was not taken, with one line in `whyNot`.
bool openThroughBus(const std::string& id, const std::string& link, Turn& turn, std::string& whyNot);

} // namespace vantorel
