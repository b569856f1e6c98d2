#include "controls/FittingScrollArea.h"

#include <QEvent>

#include <algorithm>

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
        size.setHeight(widget()->heightForWidth(std::max(width(), size.width())));
    return size;
}

QSize FittingScrollArea::minimumSizeHint() const {
    return {widget()->minimumSizeHint().width(), std::min(kLeastHeight, sizeHint().height())};
}

bool FittingScrollArea::eventFilter(QObject* watched, QEvent* event) {
    if (watched == widget() && event->type() == QEvent::LayoutRequest)
        updateGeometry();
    return QScrollArea::eventFilter(watched, event);
}

} // namespace vantorel
