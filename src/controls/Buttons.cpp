#include "controls/Buttons.h"

#include <QApplication>
#include <QEvent>
#include <QPainter>

namespace vantorel {

namespace {

bool isThemeChange(const QEvent& event) {
    return event.type() == QEvent::ApplicationPaletteChange || event.type() == QEvent::ApplicationFontChange;
}

void paintFocusRing(QPainter& painter, const QRectF& area, const QPalette& colors) {
    painter.setPen(QPen(theme::color(theme::Tone::accent, colors), 2));
    painter.setBrush(Qt::NoBrush);
    painter.drawRoundedRect(area.adjusted(1, 1, -1, -1), theme::kCornerRadius - 1, theme::kCornerRadius - 1);
}

// What every frameless button shows of its state.
void paintState(QPainter& painter, const QAbstractButton& button) {
    const QRectF area(button.rect());
    painter.setRenderHint(QPainter::Antialiasing);
    if (button.isEnabled() && (button.isDown() || button.underMouse())) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(theme::color(button.isDown() ? theme::Tone::pressed : theme::Tone::hover, button.palette()));
        painter.drawRoundedRect(area, theme::kCornerRadius - 1, theme::kCornerRadius - 1);
    }
    if (button.hasFocus())
        paintFocusRing(painter, area, button.palette());
}

} // namespace

ProminentButton::ProminentButton(const QString& text, QWidget* parent) : QPushButton(text, parent) {
    setAutoDefault(false);
    dress();
}

void ProminentButton::changeEvent(QEvent* event) {
    if (isThemeChange(*event))
        dress();
    QPushButton::changeEvent(event);
}

// Any style paints a button from these two roles.
void ProminentButton::dress() {
    QPalette dressed = QApplication::palette();
    dressed.setColor(QPalette::Active, QPalette::Button, theme::color(theme::Tone::accent, dressed));
    dressed.setColor(QPalette::Inactive, QPalette::Button, theme::color(theme::Tone::accent, dressed));
    dressed.setColor(QPalette::Active, QPalette::ButtonText, theme::color(theme::Tone::onAccent, dressed));
    dressed.setColor(QPalette::Inactive, QPalette::ButtonText, theme::color(theme::Tone::onAccent, dressed));
    setPalette(dressed);
}

IconButton::IconButton(Symbol symbol, const QString& help, QWidget* parent) : QToolButton(parent), m_symbol(symbol) {
    setAutoRaise(true);
    setFocusPolicy(Qt::StrongFocus);
    setAttribute(Qt::WA_Hover);
    setToolTip(help);
    setAccessibleName(help);
}

void IconButton::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    paintState(painter, *this);
    if (!isEnabled())
        painter.setOpacity(0.4);
    paintSymbol(painter, QRectF(rect()).adjusted(4, 4, -4, -4), m_symbol,
                theme::color(theme::Tone::primary, palette()));
}

PlainButton::PlainButton(const QString& text, QWidget* parent) : QPushButton(text, parent) {
    setAutoDefault(false);
    setAttribute(Qt::WA_Hover);
    dress();
}

void PlainButton::changeEvent(QEvent* event) {
    if (isThemeChange(*event))
        dress();
    QPushButton::changeEvent(event);
}

void PlainButton::dress() {
    setFont(theme::font(theme::Type::caption, QApplication::font()));
}

QSize PlainButton::sizeHint() const {
    return {fontMetrics().horizontalAdvance(text()) + 16, fontMetrics().height() + 8};
}

void PlainButton::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    paintState(painter, *this);
    painter.setPen(theme::color(underMouse() ? theme::Tone::primary : theme::Tone::secondary, palette()));
    painter.drawText(rect(), Qt::AlignCenter, text());
}

} // namespace vantorel
