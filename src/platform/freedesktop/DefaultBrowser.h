#pragma once

#include <QByteArray>

namespace vantorel {

/// The desktop's default browser, where it is stored. Any thread; reads the disk at each call.
namespace DefaultBrowser {

/// Whether http and https links are opened by the application with this id, whose program is at this path.
bool isApplication(const QByteArray& id, const QByteArray& program);

/// Makes this application the one that opens http and https links and web pages, for this user alone. False when the
/// desktop does not take it. `currentDesktop` is what XDG_CURRENT_DESKTOP says: XFCE asks for the program's path in a
/// place of its own.
bool setApplication(const QByteArray& id, const QByteArray& program, const QByteArray& currentDesktop);

} // namespace DefaultBrowser

} // namespace vantorel
