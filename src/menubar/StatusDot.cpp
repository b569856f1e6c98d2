#include "menubar/StatusDot.h"

#include "controls/AccessibleRole.h"

#include <QPainter>

namespace vantorel {

StatusDot::StatusDot(QWidget* parent) : QWidget(parent) {
    setAccessibleRole(staticMetaObject, QAccessible::Graphic);
}

void StatusDot::setActive(bool isActive) {
    const theme::Tone tone = isActive ? theme::Tone::green : theme::Tone::orange;
    if (m_tone == tone && !toolTip().isEmpty())
        return;
    m_tone = tone;
    setToolTip(isActive ? tr("Rules are active") : tr("No active rules"));
    setAccessibleName(toolTip());
    update();
}

void StatusDot::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(theme::color(m_tone, palette()));
    painter.drawEllipse(QRectF(rect()));
}

} // namespace vantorel
