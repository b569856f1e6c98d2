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
    void resizeEvent(QResizeEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    int m_width = 0; // once it has been laid out
};

} // namespace vantorel
