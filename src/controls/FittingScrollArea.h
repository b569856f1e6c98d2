#pragma once

#include <QScrollArea>

namespace vantorel {

/// Wants to be exactly as large as its content, and scrolls it up and down where there is less room.
class FittingScrollArea : public QScrollArea {
    Q_OBJECT

public:
    explicit FittingScrollArea(QWidget* content, QWidget* parent = nullptr);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
};

} // namespace vantorel
