#include "controls/Sheet.h"

#include "controls/Theme.h"

#include <QAccessibleWidget>
#include <QApplication>
#include <QEvent>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPointer>
#include <QScrollArea>

#include <algorithm>

namespace vantorel {

namespace {

constexpr int kMargin = 12; // of the card to the window's edges
constexpr int kShadow = 10;

// A dialogue to assistive technology, although no window of its own.
class SheetAccessible : public QAccessibleWidget {
public:
    explicit SheetAccessible(QWidget* sheet) : QAccessibleWidget(sheet, QAccessible::Dialog) { }

    QAccessible::State state() const override {
        auto state = QAccessibleWidget::state();
        state.modal = true;
        return state;
    }
};

QAccessibleInterface* sheetAccessible(const QString& className, QObject* object) {
    return className == QLatin1StringView("vantorel::Sheet") ? new SheetAccessible(qobject_cast<QWidget*>(object))
                                                             : nullptr;
}

} // namespace

Sheet::Sheet(QWidget* content, QWidget* host)
    : QWidget(host)
    , m_host(host)
    , m_content(content)
    , m_formerFocus(host->window()->focusWidget()) {
    static const bool isKnown = [] {
        QAccessible::installFactory(sheetAccessible);
        return true;
    }();
    Q_UNUSED(isKnown)
    setAccessibleName(content->windowTitle());
    content->setParent(this);
    content->show();
    content->installEventFilter(this);
    host->installEventFilter(this);
    cover();
    show();
    raise();
    Sheet::focusNextPrevChild(true);
}

void Sheet::dismiss() {
    m_host->removeEventFilter(this);
    hide();
    if (m_formerFocus && m_formerFocus->isVisible())
        m_formerFocus->setFocus(Qt::OtherFocusReason);
    deleteLater();
}

void Sheet::cover() {
    setGeometry(m_host->rect());
    const QSize wanted = m_content->sizeHint().expandedTo(m_content->minimumSize());
    const QSize size(std::min(wanted.width(), width() - 2 * kMargin),
                     std::min(wanted.height(), height() - 2 * kMargin));
    const int top = std::clamp((height() - size.height()) / 3, kMargin, 48);
    m_content->setGeometry((width() - size.width()) / 2, top, size.width(), size.height());
}

bool Sheet::eventFilter(QObject* watched, QEvent* event) {
    const bool isHostResized = watched == m_host && event->type() == QEvent::Resize;
    const bool isContentChanged = watched == m_content && event->type() == QEvent::LayoutRequest;
    if (isHostResized || isContentChanged) {
        cover();
        update();
    }
    return QWidget::eventFilter(watched, event);
}

// From the last control to the first, never to what lies behind.
bool Sheet::focusNextPrevChild(bool next) {
    QWidget* const from = window()->focusWidget();
    const auto follow = [next](QWidget* widget) {
        return next ? widget->nextInFocusChain() : widget->previousInFocusChain();
    };
    const auto takesFocus = [this](const QWidget* widget) {
        return m_content->isAncestorOf(widget) && (widget->focusPolicy() & Qt::TabFocus) && !widget->focusProxy()
            && widget->isEnabled() && widget->isVisibleTo(m_content);
    };
    QWidget* const start = from && m_content->isAncestorOf(from) ? from : m_content;
    for (QWidget* widget = follow(start); widget != start; widget = follow(widget)) {
        if (takesFocus(widget)) {
            widget->setFocus(next ? Qt::TabFocusReason : Qt::BacktabFocusReason);
            for (QWidget* outer = widget; outer != this; outer = outer->parentWidget()) {
                if (auto* const area = qobject_cast<QScrollArea*>(outer))
                    area->ensureWidgetVisible(widget);
            }
            return true;
        }
    }
    return true;
}

void Sheet::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.fillRect(rect(), QColor(0, 0, 0, theme::isDark(palette()) ? 110 : 70));
    const QRectF card(m_content->geometry());
    painter.setPen(Qt::NoPen);
    for (int i = kShadow; i > 0; --i) {
        painter.setBrush(QColor(0, 0, 0, 5));
        painter.drawRoundedRect(card.adjusted(-i, -i + 3, i, i + 3), theme::kPanelRadius + i, theme::kPanelRadius + i);
    }
    painter.setBrush(palette().color(QPalette::Window));
    painter.setPen(QPen(theme::color(theme::Tone::outline, palette()), 1));
    painter.drawRoundedRect(card.adjusted(-0.5, -0.5, 0.5, 0.5), theme::kPanelRadius, theme::kPanelRadius);
}

void Sheet::mousePressEvent(QMouseEvent* event) {
    event->accept();
}

// What the content leaves alone is not for the window behind.
void Sheet::keyPressEvent(QKeyEvent* event) {
    event->accept();
}

} // namespace vantorel
