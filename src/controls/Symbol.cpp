#include "controls/Symbol.h"

#include <QPainter>
#include <QPixmapCache>
#include <QSvgRenderer>

#include <algorithm>
#include <array>
#include <cmath>

// The resource lies in a static library: without this nothing would link it.
static void loadSymbols() {
    Q_INIT_RESOURCE(symbols);
}

namespace vantorel {

namespace {

constexpr std::array kFiles = {"branch", "plus",      "minus",     "plus-circle-fill", "pencil-circle-fill",
                               "lines",  "app-badge", "checkmark", "chevrons",         "gearshape",
                               "power"};
static_assert(kFiles.size() == static_cast<std::size_t>(Symbol::power) + 1);

} // namespace

QPixmap symbolPixmap(Symbol symbol, int size, const QColor& color, qreal devicePixelRatio) {
    const auto name = QLatin1StringView(kFiles.at(static_cast<std::size_t>(symbol)));
    const QString key =
        QStringLiteral("vantorel-symbol %1 %2 %3 %4").arg(name).arg(size).arg(color.rgba()).arg(devicePixelRatio);
    QPixmap pixmap;
    if (QPixmapCache::find(key, &pixmap))
        return pixmap;
    loadSymbols();
    pixmap = QPixmap(QSize(size, size) * devicePixelRatio);
    pixmap.setDevicePixelRatio(devicePixelRatio);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    QSvgRenderer(QStringLiteral(":/symbols/%1.svg").arg(name)).render(&painter, QRectF(0, 0, size, size));
    // The picture is a mask: whatever it covers takes the colour.
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(QRectF(0, 0, size, size), color);
    painter.end();
    QPixmapCache::insert(key, pixmap);
    return pixmap;
}

void paintSymbol(QPainter& painter, const QRectF& rectangle, Symbol symbol, const QColor& color) {
    const int size = static_cast<int>(std::min(rectangle.width(), rectangle.height()));
    if (size <= 0)
        return;
    const qreal ratio = painter.device()->devicePixelRatio();
    const auto onPixel = [ratio](qreal place) { return std::round(place * ratio) / ratio; };
    const QPointF corner(onPixel(rectangle.center().x() - size / 2.0), onPixel(rectangle.center().y() - size / 2.0));
    painter.drawPixmap(corner, symbolPixmap(symbol, size, color, ratio));
}

void paintArrow(QPainter& painter, const QRectF& place, const QColor& color, Qt::LayoutDirection direction) {
    constexpr qreal kWing = 3;
    const bool mirrored = direction == Qt::RightToLeft;
    const QPointF from(mirrored ? place.right() - 0.5 : place.left() + 0.5, std::floor(place.center().y()) + 0.5);
    const QPointF tip(mirrored ? place.left() + 0.5 : place.right() - 0.5, from.y());
    const qreal back = mirrored ? kWing : -kWing;
    painter.setPen(QPen(color, 1));
    painter.drawLine(from, tip);
    painter.drawPolyline(QPolygonF({tip + QPointF(back, -kWing), tip, tip + QPointF(back, kWing)}));
}

} // namespace vantorel
