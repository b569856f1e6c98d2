#include "controls/SymbolView.h"

#include "controls/AccessibleRole.h"

#include <QPainter>

namespace vantorel {

SymbolView::SymbolView(Symbol symbol, theme::Tone tone, int size, QWidget* parent)
    : QWidget(parent)
    , m_symbol(symbol)
    , m_tone(tone) {
    setAccessibleRole(staticMetaObject, QAccessible::Graphic);
    setFixedSize(size, size);
}

void SymbolView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    paintSymbol(painter, rect(), m_symbol, theme::color(m_tone, palette()));
}

} // namespace vantorel
