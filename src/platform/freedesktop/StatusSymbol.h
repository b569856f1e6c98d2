#pragma once

#include <QColor>
#include <QStringView>

#include <span>

namespace vantorel {

/// How much of each pixel a symbolic icon covers at one size: rows of `size` bytes, from 0 to 255.
struct StatusSymbol {
    int size;
    const unsigned char* coverage;
};

/// The icon of that name at all sizes there are, the smallest first; none where there is no such icon. They are drawn
/// when the program is built: a bar that asks for pictures costs no SVG library.
std::span<const StatusSymbol> statusSymbols(QStringView name);

/// The largest that fits into a square of `size`, else the smallest. `symbols` must not be empty.
const StatusSymbol& fittingSymbol(std::span<const StatusSymbol> symbols, int size);

/// The colour of an icon in a bar that does not tell its own: what the theme writes with, or, where no theme brings
/// colours, a grey that can be seen on light and on dark.
QColor statusSymbolColor();

} // namespace vantorel
