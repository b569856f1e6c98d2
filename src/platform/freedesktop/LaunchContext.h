#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace vantorel {

/// What the sender of the link that is being handled gave along: so that the browser may come to the front, and so that
/// a link that goes in a circle is known.
///
/// Routing a link starts its browser before it returns, so one context that is set for that long serves the whole
/// program, and nothing between the entry and the launch needs to know of it. Main thread only.
struct LaunchContext {
    QByteArray activationToken; ///< XDG_ACTIVATION_TOKEN; empty for none
    QByteArray startupID; ///< DESKTOP_STARTUP_ID; empty for none
    std::optional<QString> sender = {}; ///< the application that sent the link; absent when that is not known
    QByteArray round = {}; ///< VANTOREL_ROUND as the sender has it: what tells that a link comes from where we sent it
};

} // namespace vantorel
