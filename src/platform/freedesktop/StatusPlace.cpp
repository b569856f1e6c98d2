#include "platform/freedesktop/StatusPlace.h"

#include <QGuiApplication>
#include <QScreen>

namespace vantorel {

namespace {

constexpr int kMostScale = 3; // of toolkits that scale in whole numbers

const StatusScreen* screenAt(const QPoint& native, const QList<StatusScreen>& screens) {
    for (const StatusScreen& screen : screens) {
        const QRect pixels(screen.geometry.topLeft(), (QSizeF(screen.geometry.size()) * screen.ratio).toSize());
        if (pixels.contains(native))
            return &screen;
    }
    return nullptr;
}

QPoint onScreen(const QPoint& native, const StatusScreen& screen) {
    const QPoint corner = screen.geometry.topLeft();
    return corner + (QPointF(native - corner) / screen.ratio).toPoint();
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
    std::optional<QPoint> nearest;
    for (int scale = 1; scale <= kMostScale; ++scale) {
        const auto place = logicalPoint(told * scale, screens);
        const auto distance = [&pointer](const QPoint& point) { return (point - pointer).manhattanLength(); };
        if (place && (!nearest || distance(*place) < distance(*nearest)))
            nearest = place;
    }
    return nearest;
}

std::optional<QRect> logicalRect(const QRect& native, const QList<StatusScreen>& screens) {
    const StatusScreen* const screen = screenAt(native.center(), screens);
    if (!screen)
        return std::nullopt;
    return QRect(onScreen(native.topLeft(), *screen), (QSizeF(native.size()) / screen->ratio).toSize());
}

} // namespace vantorel
