#pragma once

#include "controls/Symbol.h"
#include "controls/Theme.h"

#include <QWidget>

namespace vantorel {

/// A symbol that stands in a layout, in one of the shared tones.
class SymbolView : public QWidget {
    Q_OBJECT

public:
    /// `size` is in logical pixels.
    SymbolView(Symbol symbol, theme::Tone tone, int size, QWidget* parent);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    Symbol m_symbol;
    theme::Tone m_tone;
};

} // namespace vantorel
