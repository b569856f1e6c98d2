#include "menubar/PanelGeometry.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace vantorel::PanelGeometry {

namespace {

constexpr QSize kSmallest(290, 180);

// Of half a bar: no click on an icon is farther from the edge of its bar.
constexpr int kThickestHalf = 32;

// The sides of a rectangle as lines between pixels.
struct Sides {
    explicit Sides(const QRect& rect)
        : left(rect.x())
        , top(rect.y())
        , right(rect.x() + rect.width())
        , bottom(rect.y() + rect.height()) { }

    int left;
    int top;
    int right;
    int bottom;
};

int distance(const QPoint& point, const QRect& rect) {
    const Sides sides(rect);
    const int x = std::max({sides.left - point.x(), 0, point.x() - (sides.right - 1)});
    const int y = std::max({sides.top - point.y(), 0, point.y() - (sides.bottom - 1)});
    return x + y;
}

const Screen& screenAt(const QPoint& point, const QList<Screen>& screens) {
    return *std::ranges::min_element(screens, {},
                                     [&point](const Screen& screen) { return distance(point, screen.geometry); });
}

QPoint middle(const QRect& rect) {
    return {rect.x() + rect.width() / 2, rect.y() + rect.height() / 2};
}

// The edge of the screen that the bar with this point lies along. A bar that keeps windows off shows by that, any other
// by being near; a bar along the top or the bottom is likelier.
Qt::Edge barEdge(const QPoint& point, const Screen& screen) {
    const Sides available(screen.available);
    if (point.y() < available.top)
        return Qt::TopEdge;
    if (point.y() >= available.bottom)
        return Qt::BottomEdge;
    if (point.x() < available.left)
        return Qt::LeftEdge;
    if (point.x() >= available.right)
        return Qt::RightEdge;
    const Sides sides(screen.geometry);
    const std::array distances = {std::pair(point.y() - sides.top, Qt::TopEdge),
                                  std::pair(sides.bottom - 1 - point.y(), Qt::BottomEdge),
                                  std::pair(kThickestHalf + point.x() - sides.left, Qt::LeftEdge),
                                  std::pair(kThickestHalf + sides.right - 1 - point.x(), Qt::RightEdge)};
    return std::ranges::min_element(distances, {}, [](const auto& each) { return each.first; })->second;
}

// What stands for the icon where only a click is known: as deep as the bar, so that the panel does not cover it. Where
// the bar does not show in what is available, a click is taken to be in its middle.
QRect barAt(const QPoint& click, Qt::Edge edge, const Screen& screen) {
    const Sides available(screen.available);
    const Sides sides(screen.geometry);
    const auto depth = [](int toAvailable, int toEdge) {
        return toAvailable > 0 ? toAvailable : std::clamp(toEdge, 0, kThickestHalf);
    };
    switch (edge) {
    case Qt::TopEdge: return {click, QSize(0, depth(available.top - click.y(), click.y() - sides.top))};
    case Qt::LeftEdge: return {click, QSize(depth(available.left - click.x(), click.x() - sides.left), 0)};
    case Qt::BottomEdge: {
        const int up = depth(click.y() + 1 - available.bottom, sides.bottom - 1 - click.y());
        return {click + QPoint(0, 1 - up), QSize(0, up)};
    }
    case Qt::RightEdge: {
        const int across = depth(click.x() + 1 - available.right, sides.right - 1 - click.x());
        return {click + QPoint(1 - across, 0), QSize(across, 0)};
    }
    }
    return {click, QSize()};
}

int rounded(double value) {
    return static_cast<int>(std::round(value)); // halves away from zero
}

QPoint beside(const QRect& icon, Qt::Edge edge, const QSize& panel) {
    const Sides sides(icon);
    const int x = rounded((sides.left + sides.right) / 2.0 - panel.width() / 2.0);
    const int y = rounded((sides.top + sides.bottom) / 2.0 - panel.height() / 2.0);
    switch (edge) {
    case Qt::TopEdge: return {x, sides.bottom + kGap};
    case Qt::BottomEdge: return {x, sides.top - kGap - panel.height()};
    case Qt::LeftEdge: return {sides.right + kGap, y};
    case Qt::RightEdge: return {sides.left - kGap - panel.width(), y};
    }
    return {x, y};
}

QPoint within(const QRect& available, const QPoint& origin, const QSize& panel) {
    const Sides sides(available);
    return {std::max(sides.left, std::min(origin.x(), sides.right - panel.width())),
            std::max(sides.top, std::min(origin.y(), sides.bottom - panel.height()))};
}

} // namespace

QSize panelSize(const QSize& fitting) {
    return fitting.expandedTo(kSmallest);
}

QPoint panelOrigin(const QSize& panel, const StatusItem::Place& place, const QList<Screen>& screens,
                   const std::optional<QPoint>& pointer) {
    if (screens.isEmpty())
        return {};
    const bool hasIcon = place.icon && place.icon->isValid();
    if (!hasIcon && !place.click) {
        const QRect available = (pointer ? screenAt(*pointer, screens) : screens.first()).available;
        const Sides sides(available);
        return within(available,
                      {rounded((sides.left + sides.right - panel.width()) / 2.0),
                       rounded((sides.top + sides.bottom - panel.height()) / 2.0)},
                      panel);
    }
    const QPoint point = hasIcon ? middle(*place.icon) : *place.click;
    const Screen& screen = screenAt(point, screens);
    const Qt::Edge edge = barEdge(point, screen);
    const QRect icon = hasIcon ? *place.icon : barAt(point, edge, screen);
    return within(screen.available, beside(icon, edge, panel), panel);
}

} // namespace vantorel::PanelGeometry
