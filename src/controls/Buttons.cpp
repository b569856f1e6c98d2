#include "controls/Buttons.h"

#include <QApplication>
#include <QMarginsF>
#include <QPainter>
#include <QStyle>

#include <algorithm>

namespace vantorel {

namespace {

// Of a button on a row of its own.
constexpr QSize kRowPadding(12, 7);
constexpr int kRowSymbol = 16;
constexpr int kRowGap = 8;
constexpr QMarginsF kRowInset(5, 1, 5, 1); // from the edges to what shows its state

void paintFocusRing(QPainter& painter, const QRectF& area, const QPalette& colors) {
    painter.setPen(QPen(theme::color(theme::Tone::accent, colors), 2));
    painter.setBrush(Qt::NoBrush);
    painter.drawRoundedRect(area.adjusted(1, 1, -1, -1), theme::kCornerRadius - 1, theme::kCornerRadius - 1);
}

// What every frameless button shows of its state.
void paintState(QPainter& painter, const QAbstractButton& button, const QRectF& area) {
    painter.setRenderHint(QPainter::Antialiasing);
    if (button.isEnabled() && (button.isDown() || button.underMouse())) {
        const QPalette& colors = button.palette();
        // Between black and white a tint is hardly seen.
        const bool isOutlined = theme::isHighContrast(colors);
        painter.setPen(isOutlined ? QPen(theme::color(theme::Tone::outline, colors), 1) : QPen(Qt::NoPen));
        painter.setBrush(theme::color(button.isDown() ? theme::Tone::pressed : theme::Tone::hover, colors));
        const qreal inset = isOutlined ? 0.5 : 0;
        painter.drawRoundedRect(area.adjusted(inset, inset, -inset, -inset), theme::kCornerRadius - 1,
                                theme::kCornerRadius - 1);
    }
    if (button.hasFocus())
        paintFocusRing(painter, area, button.palette());
}

} // namespace

ProminentButton::ProminentButton(const QString& text, QWidget* parent) : QPushButton(text, parent) {
    setAutoDefault(false);
    dress();
    theme::whenChanged(this, [this] { dress(); });
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
    paintState(painter, *this, rect());
    if (!isEnabled())
        painter.setOpacity(0.4);
    paintSymbol(painter, QRectF(rect()).adjusted(4, 4, -4, -4), m_symbol,
                theme::color(theme::Tone::primary, palette()));
}

PlainButton::PlainButton(const QString& text, QWidget* parent) : QPushButton(text, parent) {
    setAutoDefault(false);
    setAttribute(Qt::WA_Hover);
    dress();
    theme::whenChanged(this, [this] { dress(); });
}

void PlainButton::dress() {
    setFont(theme::font(theme::Type::caption, QApplication::font()));
}

QSize PlainButton::sizeHint() const {
    return {fontMetrics().horizontalAdvance(text()) + 16, fontMetrics().height() + 8};
}

void PlainButton::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    paintState(painter, *this, rect());
    painter.setPen(theme::color(underMouse() ? theme::Tone::primary : theme::Tone::secondary, palette()));
    painter.drawText(rect(), Qt::AlignCenter, text());
}

RowButton::RowButton(Symbol symbol, const QString& text, QWidget* parent)
    : QPushButton(text, parent)
    , m_symbol(symbol) {
    setAutoDefault(true); // what makes Return press it
    setAttribute(Qt::WA_Hover);
}

QSize RowButton::sizeHint() const {
    const int height = std::max(kRowSymbol, fontMetrics().height()) + 2 * kRowPadding.height();
    return {fontMetrics().horizontalAdvance(text()) + kRowSymbol + kRowGap + 2 * kRowPadding.width(), height};
}

void RowButton::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    paintState(painter, *this, QRectF(rect()).marginsRemoved(kRowInset));
    const QRect inner = rect().adjusted(kRowPadding.width(), 0, -kRowPadding.width(), 0);
    const auto place = [&](int from, int width) {
        return QStyle::visualRect(layoutDirection(), rect(), {inner.left() + from, 0, width, height()});
    };
    paintSymbol(painter, place(0, kRowSymbol), m_symbol, theme::color(theme::Tone::secondary, palette()));
    const QRect area = place(kRowSymbol + kRowGap, inner.width() - kRowSymbol - kRowGap);
    painter.setPen(theme::color(theme::Tone::primary, palette()));
    painter.drawText(area, static_cast<int>(Qt::AlignLeading | Qt::AlignVCenter) | static_cast<int>(Qt::TextSingleLine),
                     fontMetrics().elidedText(text(), Qt::ElideRight, area.width()));
}

} // namespace vantorel
