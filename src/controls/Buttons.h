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

private:
    void dress();
};

/// A command on a row of its own, without a frame: symbol and text. All of the row takes clicks; Space and Return press
/// it.
class RowButton : public QPushButton {
    Q_OBJECT

public:
    RowButton(Symbol symbol, const QString& text, QWidget* parent = nullptr);

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    Symbol m_symbol;
};

} // namespace vantorel
