#include "platform/freedesktop/StatusSymbol.h"

#include "platform/freedesktop/DesktopPalette.h"

#include <QGuiApplication>
#include <QPalette>

#include <algorithm>
#include <iterator>

namespace vantorel {

namespace {

// As light against black as it is dark against white, or nearly so.
constexpr QColor kMiddle(0x80, 0x80, 0x80);

} // namespace

const StatusSymbol& fittingSymbol(std::span<const StatusSymbol> symbols, int size) {
    const auto tooLarge =
        std::ranges::find_if(symbols, [size](const StatusSymbol& symbol) { return symbol.size > size; });
    return tooLarge == symbols.begin() ? *tooLarge : *std::prev(tooLarge);
}

QColor statusSymbolColor() {
    if (!qobject_cast<QGuiApplication*>(QCoreApplication::instance()))
        return kMiddle;
    const QPalette palette = QGuiApplication::palette();
    return isQtsOwn(palette) ? kMiddle : palette.color(QPalette::WindowText);
}

} // namespace vantorel
