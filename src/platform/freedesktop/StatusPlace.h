#pragma once

#include <QList>
#include <QPoint>
#include <QRect>

#include <optional>

namespace vantorel {

/// A screen of the desktop: `geometry` in logical pixels, `ratio` native pixels in each of them. The corner is the same
/// in both.
struct StatusScreen {
    QRect geometry;
    qreal ratio = 1;
};

/// The screens as Qt has them. Where coordinates on the bus and on the display are logical already, as under Wayland,
/// their ratio is 1.
QList<StatusScreen> statusScreens();

/// A place in native pixels as one in logical pixels; absent when it is on none of the screens.
std::optional<QPoint> logicalPoint(const QPoint& native, const QList<StatusScreen>& screens);

/// Likewise a rectangle, by the screen that its middle is on.
std::optional<QRect> logicalRect(const QRect& native, const QList<StatusScreen>& screens);

} // namespace vantorel
