#pragma once

#include <QWidget>

namespace vantorel {

/// A rounded panel: a faint fill and a thin outline.
class Panel : public QWidget {
    Q_OBJECT

public:
    using QWidget::QWidget;

protected:
    void paintEvent(QPaintEvent* event) override;
};

/// A step of some teaching: its number in a disc, a title and a detail.
class NumberedCard : public QWidget {
    Q_OBJECT

public:
    NumberedCard(const QString& number, const QString& title, const QString& detail, QWidget* parent = nullptr);

protected:
    void paintEvent(QPaintEvent* event) override;
};

/// A thin line across; a thin line down where it is given a height.
class Divider : public QWidget {
    Q_OBJECT

public:
    explicit Divider(Qt::Orientation orientation = Qt::Horizontal, QWidget* parent = nullptr);

protected:
    void paintEvent(QPaintEvent* event) override;
};

} // namespace vantorel
