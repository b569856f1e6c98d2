#include "menubar/MenuBarPanel.h"

#include "controls/Theme.h"

#include <QKeyEvent>
#include <QLayout>
#include <QPainter>

#include <algorithm>
#include <cmath>

namespace vantorel {

namespace {

// Sets the panel off from what lies behind it, on desktops that give it no shadow.
class Outline : public QWidget {
public:
    explicit Outline(QWidget* parent) : QWidget(parent) { setAttribute(Qt::WA_TransparentForMouseEvents); }

protected:
    void paintEvent(QPaintEvent*) override {
        // On whole pixels, or its sides would differ at a scale such as 2.
        const qreal ratio = devicePixelRatioF();
        const qreal thickness = std::max(std::floor(ratio), 1.0) / ratio;
        const qreal right = std::floor(width() * ratio) / ratio, bottom = std::floor(height() * ratio) / ratio;
        const QColor color = theme::color(theme::Tone::outline, palette());
        QPainter painter(this);
        painter.fillRect(QRectF(0, 0, right, thickness), color);
        painter.fillRect(QRectF(0, bottom - thickness, right, thickness), color);
        painter.fillRect(QRectF(0, thickness, thickness, bottom - 2 * thickness), color);
        painter.fillRect(QRectF(right - thickness, thickness, thickness, bottom - 2 * thickness), color);
    }
};

} // namespace

MenuBarPanel::MenuBarPanel() : m_outline(new Outline(this)) {
    const QString name = QStringLiteral("Vantorel");
    setWindowTitle(name);
    setAccessibleName(name);
}

void MenuBarPanel::setContent(QWidget* content) {
    if (m_content) {
        m_content->hide();
        m_content->deleteLater();
    }
    m_content = content;
    m_content->setParent(this);
    m_content->show();
    layOut();
}

QSize MenuBarPanel::fittingSize() const {
    if (!m_content)
        return {};
    m_content->ensurePolished();
    if (QLayout* const layout = m_content->layout())
        layout->activate();
    return m_content->sizeHint().expandedTo(m_content->minimumSizeHint()).expandedTo(m_content->minimumSize());
}

bool MenuBarPanel::event(QEvent* event) {
    if (event->type() == QEvent::LayoutRequest && isVisible())
        Q_EMIT fittingSizeChanged();
    return QWidget::event(event);
}

void MenuBarPanel::resizeEvent(QResizeEvent*) {
    layOut();
}

void MenuBarPanel::hideEvent(QHideEvent* event) {
    QWidget::hideEvent(event);
    Q_EMIT hidden();
}

void MenuBarPanel::keyPressEvent(QKeyEvent* event) {
    if (event->matches(QKeySequence::Cancel))
        hide();
    else
        QWidget::keyPressEvent(event);
}

void MenuBarPanel::layOut() {
    if (m_content)
        m_content->setGeometry(rect());
    m_outline->setGeometry(rect());
    m_outline->raise();
}

} // namespace vantorel
