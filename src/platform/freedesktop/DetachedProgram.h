#pragma once

#include <QByteArrayList>

#include <chrono>
#include <functional>

class QObject;

namespace vantorel {

/// Starts a program in a session of its own, so that it outlives this one, with nothing for its standard input and
/// output. The command's first part is found in PATH.
///
/// `settled` is called once, later, on the main thread, unless `context` is gone by then: with true when the program
/// still runs after `patience` or has ended with success before, with false when it could not be started or has failed
/// before.
void startDetached(QObject* context, const QByteArrayList& command, std::chrono::milliseconds patience,
                   std::function<void(bool isWell)> settled);

} // namespace vantorel
