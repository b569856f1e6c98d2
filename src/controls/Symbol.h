#pragma once

#include <QColor>
#include <QPixmap>
#include <QRectF>

class QPainter;

namespace vantorel {

/// Our own symbols, drawn from SVG in any colour and at any scale.
enum class Symbol {
    branch,
    plus,
    minus,
    plusCircleFill,
    pencilCircleFill,
    lines,
    appBadge,
    checkmark,
    chevrons,
    warningFill,
};

/// Draws the symbol centred in the largest square of the rectangle (logical pixels), crisp at the painter's own scale.
void paintSymbol(QPainter& painter, const QRectF& rectangle, Symbol symbol, const QColor& color);

/// A square picture of the symbol; `size` in logical pixels.
QPixmap symbolPixmap(Symbol symbol, int size, const QColor& color, qreal devicePixelRatio);

} // namespace vantorel
