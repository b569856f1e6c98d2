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

/// Where a click was that a bar on an X server tells of. Bars count native pixels, or what these are in whole-numbered
/// scales of their own toolkit, which they do not name: the reading that the pointer is at is right. Without any such
/// it is native pixels.
std::optional<QPoint> clickedPoint(const QPoint& told, const QPoint& pointer, const QList<StatusScreen>& screens);

/// A rectangle in native pixels as one in logical pixels, by the screen that its middle is on.
std::optional<QRect> logicalRect(const QRect& native, const QList<StatusScreen>& screens);

} // namespace vantorel
