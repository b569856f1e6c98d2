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
    gearshape,
    power,
};

/// Draws the symbol centred in the largest square of the rectangle (logical pixels), crisp at the painter's own scale.
void paintSymbol(QPainter& painter, const QRectF& rectangle, Symbol symbol, const QColor& color);

/// Draws a thin arrow across the middle of the rectangle, towards where text in that direction goes on. Not a letter:
/// the font may have none, and looking for another font takes longer than all the rest of a row.
void paintArrow(QPainter& painter, const QRectF& place, const QColor& color, Qt::LayoutDirection direction);

/// A square picture of the symbol; `size` in logical pixels.
QPixmap symbolPixmap(Symbol symbol, int size, const QColor& color, qreal devicePixelRatio);

} // namespace vantorel
