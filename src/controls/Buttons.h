#pragma once

#include "controls/Symbol.h"
#include "controls/Theme.h"

#include <QPushButton>
#include <QToolButton>

namespace vantorel {

/// The button of a view that matters most, in the accent colour.
class ProminentButton : public QPushButton {
    Q_OBJECT

public:
    explicit ProminentButton(const QString& text, QWidget* parent = nullptr);

protected:
    void changeEvent(QEvent* event) override;

private:
    void dress();
};

/// A small symbol without a frame until the pointer is on it; `help` is its name and its tool tip.
class IconButton : public QToolButton {
    Q_OBJECT

public:
    IconButton(Symbol symbol, const QString& help, QWidget* parent = nullptr);

    QSize sizeHint() const override { return {26, 24}; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    Symbol m_symbol;
};

/// A quiet text that can be pressed.
class PlainButton : public QPushButton {
    Q_OBJECT

public:
    explicit PlainButton(const QString& text, QWidget* parent = nullptr);

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    void dress();
};

} // namespace vantorel
