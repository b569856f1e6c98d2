#include "platform/freedesktop/StatusPlace.h"

#include <QGuiApplication>
#include <QScreen>
#include <QtMath>

#include <limits>

namespace vantorel {

namespace {

constexpr int kMostScale = 3; // of toolkits that scale in whole numbers
constexpr int kIcon = 64; // logical pixels that a pointer on an icon is away from any part of it, at most

const StatusScreen* screenAt(const QPoint& native, const QList<StatusScreen>& screens) {
    for (const StatusScreen& screen : screens) {
        const QRect pixels(screen.geometry.topLeft(), (QSizeF(screen.geometry.size()) * screen.ratio).toSize());
        if (pixels.contains(native))
            return &screen;
    }
    return nullptr;
}

// The pixel that it is in: rounded up, one at the far edge would be on no screen.
QPoint onScreen(const QPoint& native, const StatusScreen& screen) {
    const QPoint corner = screen.geometry.topLeft();
    const QPointF offset = QPointF(native - corner) / screen.ratio;
    return corner + QPoint(qFloor(offset.x()), qFloor(offset.y()));
}

} // namespace

QList<StatusScreen> statusScreens() {
    const bool isNative = QGuiApplication::platformName() == u"xcb";
    QList<StatusScreen> screens;
    for (const QScreen* const screen : QGuiApplication::screens())
        screens.append({screen->geometry(), isNative ? screen->devicePixelRatio() : 1});
    return screens;
}

std::optional<QPoint> logicalPoint(const QPoint& native, const QList<StatusScreen>& screens) {
    const StatusScreen* const screen = screenAt(native, screens);
    return screen ? std::optional(onScreen(native, *screen)) : std::nullopt;
}

std::optional<QPoint> clickedPoint(const QPoint& told, const QPoint& pointer, const QList<StatusScreen>& screens) {
    const auto distance = [&pointer](const std::optional<QPoint>& point) {
        return point ? (*point - pointer).manhattanLength() : std::numeric_limits<int>::max();
    };
    const auto unscaled = logicalPoint(told, screens);
    auto nearest = unscaled;
    for (int scale = 2; scale <= kMostScale; ++scale) {
        const auto place = logicalPoint(told * scale, screens);
        if (distance(place) < distance(nearest))
            nearest = place;
    }
    return distance(nearest) <= kIcon ? nearest : unscaled;
}

std::optional<QRect> logicalRect(const QRect& native, const QList<StatusScreen>& screens) {
    const StatusScreen* const screen = screenAt(native.center(), screens);
    if (!screen)
        return std::nullopt;
    return QRect(onScreen(native.topLeft(), *screen), (QSizeF(native.size()) / screen->ratio).toSize());
}

} // namespace vantorel
