#include "controls/Panel.h"

#include "controls/Text.h"
#include "controls/Theme.h"

#include <QGridLayout>
#include <QPainter>

#include <algorithm>

namespace vantorel {

namespace {

class Disc : public Text {
public:
    Disc(const QString& text, QWidget* parent) : Text(text, theme::Type::caption, theme::Tone::onAccent, parent) {
        setAlignment(Qt::AlignCenter);
        const int side = std::max(20, fontMetrics().height() + 2);
        setFixedSize(side, side);
    }

protected:
    void paintEvent(QPaintEvent* event) override {
        {
            QPainter painter(this);
            painter.setRenderHint(QPainter::Antialiasing);
            painter.setPen(Qt::NoPen);
            painter.setBrush(theme::color(theme::Tone::accent, palette()));
            painter.drawEllipse(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5));
        }
        Text::paintEvent(event);
    }
};

void paintPanel(QWidget& widget, qreal radius) {
    QPainter painter(&widget);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(theme::color(theme::Tone::separator, widget.palette()), 1));
    painter.setBrush(theme::color(theme::Tone::panel, widget.palette()));
    painter.drawRoundedRect(QRectF(widget.rect()).adjusted(0.5, 0.5, -0.5, -0.5), radius, radius);
}

} // namespace

void Panel::paintEvent(QPaintEvent*) {
    paintPanel(*this, theme::kPanelRadius);
}

NumberedCard::NumberedCard(const QString& number, const QString& title, const QString& detail, QWidget* parent)
    : QWidget(parent) {
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    auto* const grid = new QGridLayout(this);
    grid->setContentsMargins(10, 9, 10, 10);
    grid->setHorizontalSpacing(8);
    grid->setVerticalSpacing(3);
    auto* const disc = new Disc(number, this);
    auto* const titleText = new Text(title, theme::Type::subheadline, theme::Tone::primary, this);
    auto* const detailText = new Text(detail, theme::Type::caption, theme::Tone::secondary, this);
    for (auto* const text : {titleText, detailText})
        text->setWordWrap(true);
    grid->addWidget(disc, 0, 0, Qt::AlignTop);
    grid->addWidget(titleText, 0, 1);
    grid->addWidget(detailText, 1, 0, 1, 2, Qt::AlignTop);
    grid->setColumnStretch(1, 1);
    grid->setRowStretch(1, 1);
}

void NumberedCard::paintEvent(QPaintEvent*) {
    paintPanel(*this, theme::kPanelRadius - 2);
}

Divider::Divider(Qt::Orientation orientation, QWidget* parent) : QWidget(parent) {
    if (orientation == Qt::Horizontal)
        setFixedHeight(1);
    else
        setFixedWidth(1);
}

void Divider::paintEvent(QPaintEvent*) {
    QPainter(this).fillRect(rect(), theme::color(theme::Tone::separator, palette()));
}

} // namespace vantorel
