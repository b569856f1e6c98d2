#include "controls/SegmentedControl.h"

#include "controls/AccessibleRole.h"
#include "controls/Theme.h"

#include <QHBoxLayout>
#include <QPainter>
#include <QRadioButton>
#include <QSignalBlocker>

#include <algorithm>

namespace vantorel {

namespace {

constexpr int kInset = 2; // between the trough and the chosen segment

class Segment : public QRadioButton {
public:
    explicit Segment(const QString& text, QWidget* parent) : QRadioButton(text, parent) {
        setAttribute(Qt::WA_Hover);
        setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    }

    QSize sizeHint() const override {
        return {fontMetrics().horizontalAdvance(text()) + 20, std::max(fontMetrics().height() + 8, 24)};
    }
    QSize minimumSizeHint() const override {
        return {fontMetrics().horizontalAdvance(text()) + 12, sizeHint().height()};
    }

protected:
    bool hitButton(const QPoint& position) const override { return rect().contains(position); }

    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        const QPalette& colors = palette();
        const QRectF area = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
        const qreal radius = theme::kCornerRadius - kInset;
        painter.setPen(Qt::NoPen);
        if (isChecked()) {
            painter.setBrush(theme::color(theme::Tone::accent, colors));
            painter.drawRoundedRect(area, radius, radius);
        }
        if (isEnabled() && (isDown() || (underMouse() && !isChecked()))) {
            painter.setBrush(theme::color(isDown() ? theme::Tone::pressed : theme::Tone::hover, colors));
            painter.drawRoundedRect(area, radius, radius);
        }
        if (hasFocus()) {
            QColor ring = theme::color(isChecked() ? theme::Tone::onAccent : theme::Tone::accent, colors);
            ring.setAlphaF(0.8F);
            painter.setPen(QPen(ring, 1.5));
            painter.setBrush(Qt::NoBrush);
            painter.drawRoundedRect(area.adjusted(1.5, 1.5, -1.5, -1.5), radius - 1, radius - 1);
        }
        painter.setPen(isChecked() ? theme::color(theme::Tone::onAccent, colors) : colors.color(QPalette::WindowText));
        painter.drawText(rect(), Qt::AlignCenter, text());
    }
};

} // namespace

SegmentedControl::SegmentedControl(const QStringList& choices, QWidget* parent) : QWidget(parent) {
    setAccessibleRole(staticMetaObject, QAccessible::Grouping);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    auto* const row = new QHBoxLayout(this);
    row->setContentsMargins(kInset, kInset, kInset, kInset);
    row->setSpacing(kInset);
    for (const QString& choice : choices) {
        auto* const segment = new Segment(choice, this);
        const int index = static_cast<int>(m_segments.size());
        // The arrow keys check a neighbour without a click.
        connect(segment, &QAbstractButton::toggled, this, [this, index](bool checked) {
            if (checked)
                Q_EMIT chosen(index);
        });
        m_segments.append(segment);
        row->addWidget(segment);
    }
    setCurrentIndex(0);
}

int SegmentedControl::currentIndex() const {
    const auto checked =
        std::find_if(m_segments.begin(), m_segments.end(), [](const auto* segment) { return segment->isChecked(); });
    return static_cast<int>(checked - m_segments.begin());
}

void SegmentedControl::setCurrentIndex(int index) {
    if (index < 0 || index >= m_segments.size())
        return;
    const QSignalBlocker silence(m_segments[index]);
    m_segments[index]->setChecked(true);
    // One Tab stop for the whole row, at the choice that holds.
    setFocusProxy(m_segments[index]);
    update();
    for (auto* const segment : m_segments)
        segment->update();
}

void SegmentedControl::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(theme::color(theme::Tone::hover, palette()));
    painter.drawRoundedRect(QRectF(rect()), theme::kCornerRadius, theme::kCornerRadius);
    painter.setPen(QPen(theme::color(theme::Tone::outline, palette()), 1));
    painter.setBrush(Qt::NoBrush);
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), theme::kCornerRadius, theme::kCornerRadius);
}

} // namespace vantorel
