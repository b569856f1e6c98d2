#pragma once

#include <QByteArray>

#include <functional>
#include <optional>

class QObject;

namespace vantorel {

/// Qt's name for the display that this session has, as the value of its option -platform: the first of those that the
/// user has chosen through QT_QPA_PLATFORM that answers, or that cannot be probed. Absent when there is no display,
/// when it does not let this program in, or when it does not answer within a fifth of a second: Qt would then end the
/// program, or wait for good. Needs no application object.
std::optional<QByteArray> reachableDisplayPlatform();

/// For a display that was not reachable: calls `answered` once, from the loop of the thread of `context`, if it lets
/// this program in after all within some minutes, as a busy one does when a session begins. One that refuses is not
/// asked again. Returns at once and does not wake anybody meanwhile.
void whenDisplayAnswers(QObject& context, std::function<void()> answered);

} // namespace vantorel
