#pragma once

#include "platform/freedesktop/StatusTray.h"

#include <QAbstractNativeEventFilter>
#include <QObject>

#include <memory>

namespace vantorel {

/// Our icon in a tray of an X server that takes windows (freedesktop.org's System Tray protocol). Does nothing where
/// Qt's windows are on no X server; idle, it does nothing either. Main thread only.
///
/// Not Qt's tray icon: that one decides once in the life of a process between the bus and the X server, waits for a
/// watcher on the bus when it does, and does not know where it is until a second after it was shown.
class X11TrayIcon : public QObject, public StatusTray, private QAbstractNativeEventFilter {
public:
    X11TrayIcon();
    ~X11TrayIcon() override;

    void start(Handlers handlers) override;
    void setImage(const StatusItem::Image& image) override;
    void show() override;
    void hide() override;

private:
    struct Server;
    struct Icon;

    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

    void dock();
    void undock();
    void readColor();
    void paint();
    void press(const void* event);

    Handlers m_handlers;
    StatusItem::Image m_image;
    bool m_isWanted = false;
    std::unique_ptr<Server> m_server; // from the first `show()` on; absent without an X server
    std::unique_ptr<Icon> m_icon; // absent while there is no tray
};

} // namespace vantorel
