#pragma once

#include <QByteArray>

#include <chrono>

class QWindow;
struct xcb_connection_t;

namespace vantorel {

/// What a program that shows windows on an X server has to know of it beyond Qt.
namespace X11Display {

/// Whether the server that DISPLAY names lets this program in. Takes no longer than `patience`, whatever state the
/// server is in. Needs no application object.
bool answers(std::chrono::milliseconds patience);

/// Asks the window manager to give the window, one of Qt's, the focus as for a click of the user, wherever that was.
/// `startupID` is what came with the click, and may be empty. Does nothing where Qt's windows are on no X server.
void bringToFront(const QWindow& window, const QByteArray& startupID);

/// Has a window, which is made and not shown, on every workspace and in no list of windows. To be called before each
/// time it is shown: window managers forget it. Does nothing where Qt's windows are on no X server.
void markAsPanel(const QWindow& window);

/// Qt's own; null where its windows are on no X server.
xcb_connection_t* connection();

} // namespace X11Display

} // namespace vantorel
