#pragma once

#include "platform/ClickMonitor.h"

#include <QByteArray>

#include <memory>

class QSocketNotifier;

namespace vantorel {

/// Presses on an X server, as its raw events tell (X Input Extension 2).
///
/// While it runs it has a thread and a connection of its own: nothing here waits for the server. One that is gone, or
/// does not know the extension, tells of no presses; the next start tries again. A window is this program's when Qt has
/// made it, and so is the frame that a window manager puts around it.
class X11ClickMonitor : public ClickMonitor {
public:
    /// `display` is what DISPLAY says.
    explicit X11ClickMonitor(QByteArray display);
    ~X11ClickMonitor() override;

    void start(Pressed pressed) override;
    void stop() override;

private:
    struct Watch;

    static void run(Watch& watch);
    void takePresses();

    QByteArray m_display;
    Pressed m_pressed;
    std::shared_ptr<Watch> m_watch; // absent while stopped
    QSocketNotifier* m_notifier = nullptr;
};

} // namespace vantorel
