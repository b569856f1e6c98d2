#include "controls/FittingScrollArea.h"

#include <QResizeEvent>
#include <QScrollBar>

#include <algorithm>
#include <utility>

namespace vantorel {

namespace {

constexpr int kLeastHeight = 48;

} // namespace

FittingScrollArea::FittingScrollArea(QWidget* content, QWidget* parent) : QScrollArea(parent) {
    setFrameShape(QFrame::NoFrame);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setFocusPolicy(Qt::NoFocus);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Preferred);
    setWidgetResizable(true);
    setWidget(content);
    // What lies behind shows through.
    content->setAutoFillBackground(false);
    viewport()->setAutoFillBackground(false);
    content->installEventFilter(this);
}

QSize FittingScrollArea::sizeHint() const {
    QSize size = widget()->sizeHint().expandedTo(widget()->minimumSize());
    if (widget()->hasHeightForWidth())
        size.setHeight(widget()->heightForWidth(m_width > 0 ? m_width : size.width()));
    return size;
}

QSize FittingScrollArea::minimumSizeHint() const {
    const int bar = verticalScrollBar()->sizeHint().width();
    return {widget()->minimumSizeHint().width() + bar, std::min(kLeastHeight, sizeHint().height())};
}

// The height that the content wants depends on the width.
void FittingScrollArea::resizeEvent(QResizeEvent* event) {
    QScrollArea::resizeEvent(event);
    if (std::exchange(m_width, width()) != width())
        updateGeometry();
}

bool FittingScrollArea::eventFilter(QObject* watched, QEvent* event) {
    if (watched == widget() && event->type() == QEvent::LayoutRequest)
        updateGeometry();
    return QScrollArea::eventFilter(watched, event);
}

} // namespace vantorel
