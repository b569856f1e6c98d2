#include "controls/Switch.h"

#include "controls/Theme.h"

#include <QEvent>
#include <QPainter>
#include <QPainterPath>
#include <QStyle>
#include <QVariantAnimation>

#include <algorithm>
#include <cmath>

namespace vantorel {

namespace {

constexpr qreal kGap = 8; // between text and switch
constexpr qreal kRing = 2; // the focus ring around it

} // namespace

Switch::Switch(const QString& text, qreal scale, QWidget* parent)
    : QCheckBox(text, parent)
    , m_scale(scale)
    , m_place(0) {
    setAttribute(Qt::WA_Hover);
    connect(this, &QCheckBox::toggled, this, &Switch::glide);
}

void Switch::setCheckedAtOnce(bool checked) {
    setChecked(checked);
    if (m_animation)
        m_animation->stop();
    m_place = checked ? 1 : 0;
    update();
}

void Switch::setOpacity(qreal opacity) {
    if (m_opacity != opacity) {
        m_opacity = opacity;
        update();
    }
}

QSizeF Switch::trackSize() const {
    return {std::round(38 * m_scale), std::round(22 * m_scale)};
}

QSize Switch::sizeHint() const {
    const QSizeF track = trackSize();
    const int textWidth = text().isEmpty() ? 0 : qRound(fontMetrics().horizontalAdvance(text()) + kGap);
    return {textWidth + qRound(track.width() + 2 * kRing),
            std::max(qRound(track.height() + 2 * kRing), fontMetrics().height())};
}

// Nobody sees the way of a hidden switch, and a test that looks at it right after a click wants its end.
void Switch::glide(bool checked) {
    const qreal target = checked ? 1 : 0;
    const int time = theme::animationTime(this);
    if (!isVisible() || time == 0) {
        m_place = target;
        update();
        return;
    }
    if (!m_animation) {
        m_animation = new QVariantAnimation(this);
        m_animation->setEasingCurve(QEasingCurve::InOutCubic);
        connect(m_animation, &QVariantAnimation::valueChanged, this, [this](const QVariant& value) {
            m_place = value.toReal();
            update();
        });
    }
    m_animation->stop();
    m_animation->setStartValue(m_place);
    m_animation->setEndValue(target);
    m_animation->setDuration(time);
    m_animation->start();
}

bool Switch::event(QEvent* event) {
    if (event->type() == QEvent::LayoutDirectionChange || event->type() == QEvent::FontChange)
        updateGeometry();
    return QCheckBox::event(event);
}

void Switch::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QPalette& colors = palette();
    const bool mirrored = layoutDirection() == Qt::RightToLeft;
    painter.setOpacity(isEnabled() ? m_opacity : 0.45);

    const QSizeF size = trackSize();
    const qreal left = mirrored ? kRing : width() - kRing - size.width();
    const QRectF track(left, std::round((height() - size.height()) / 2), size.width(), size.height());
    const qreal radius = track.height() / 2;

    // Off is a hollow, on is the accent; between them one turns into the other.
    const QColor outline = theme::color(theme::Tone::outline, colors);
    QColor off = theme::color(theme::Tone::pressed, colors);
    painter.setPen(QPen(outline, 1));
    painter.setBrush(off);
    painter.drawRoundedRect(track.adjusted(0.5, 0.5, -0.5, -0.5), radius, radius);
    QColor on = theme::color(theme::Tone::accent, colors);
    on.setAlphaF(static_cast<float>(m_place));
    painter.setPen(Qt::NoPen);
    painter.setBrush(on);
    painter.drawRoundedRect(track, radius, radius);
    if (isDown() || underMouse()) {
        painter.setBrush(theme::color(isDown() ? theme::Tone::pressed : theme::Tone::hover, colors));
        painter.drawRoundedRect(track, radius, radius);
    }

    const qreal inset = std::max<qreal>(2, std::round(track.height() / 11));
    const qreal knob = track.height() - 2 * inset;
    const qreal place = mirrored ? 1 - m_place : m_place;
    const QRectF circle(track.left() + inset + place * (track.width() - 2 * inset - knob), track.top() + inset, knob,
                        knob);
    painter.setBrush(QColor(0, 0, 0, 40));
    painter.drawEllipse(circle.translated(0, 0.75));
    // On an accent on which texts are black the knob is black as well.
    painter.setBrush(m_place > 0.5 ? theme::color(theme::Tone::onAccent, colors) : QColor(Qt::white));
    painter.drawEllipse(circle);

    if (hasFocus()) {
        painter.setBrush(Qt::NoBrush);
        QColor ring = theme::color(theme::Tone::accent, colors);
        ring.setAlphaF(0.6F);
        painter.setPen(QPen(ring, kRing));
        painter.drawRoundedRect(track.adjusted(-1, -1, 1, 1), radius + 1, radius + 1);
    }
    if (!text().isEmpty()) {
        const qreal space = width() - size.width() - 2 * kRing - kGap;
        const QRectF area(mirrored ? width() - space : 0, 0, space, height());
        painter.setPen(colors.color(QPalette::WindowText));
        style()->drawItemText(&painter, area.toRect(), Qt::AlignVCenter | Qt::AlignLeading | Qt::TextShowMnemonic,
                              colors, true, text());
    }
}

} // namespace vantorel
