#pragma once

#include "platform/StatusItem.h"

#include <functional>

namespace vantorel {

/// Our icon in a bar that takes windows for icons and is not on the bus. Main thread only.
class StatusTray {
public:
    struct Handlers {
        std::function<void(const StatusItem::Place& place)> clicked;
        std::function<void(const QPoint& place)> menuWanted; ///< in logical pixels
    };

    virtual ~StatusTray() = default;

    /// Called once, before everything else. The handlers are called from the event loop only.
    virtual void start(Handlers handlers) = 0;

    virtual void setImage(const StatusItem::Image& image) = 0;

    /// From now on the icon stands in whatever tray there is, or comes; until `hide()`.
    virtual void show() = 0;
    virtual void hide() = 0;
};

} // namespace vantorel
