#include "menubar/MenuBarPanel.h"

#include <QKeyEvent>
#include <QLayout>
#include <QPainter>

namespace vantorel {

namespace {

// Sets the panel off from what lies behind it, on desktops that give it no shadow.
class Outline : public QWidget {
public:
    explicit Outline(QWidget* parent) : QWidget(parent) { setAttribute(Qt::WA_TransparentForMouseEvents); }

protected:
    void paintEvent(QPaintEvent*) override {
        QColor colour = palette().color(QPalette::WindowText);
        colour.setAlphaF(0.2F);
        QPainter painter(this);
        painter.setPen(colour);
        painter.drawRect(rect().adjusted(0, 0, -1, -1));
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
