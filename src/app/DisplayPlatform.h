#pragma once

#include <QByteArray>

#include <optional>

namespace vantorel {

/// Qt's name for the display that this session has, as the value of its option -platform; empty when the user has
/// chosen one through QT_QPA_PLATFORM that cannot be probed. Absent when there is no display, when it does not let this
/// program in, or when it does not answer within a fifth of a second: Qt would then end the program, or wait for good.
/// Needs no application object.
std::optional<QByteArray> reachableDisplayPlatform();

} // namespace vantorel
