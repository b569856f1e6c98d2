#pragma once

#include "controls/Theme.h"

#include <QLabel>

namespace vantorel {

/// A label in one of the shared types and tones; keeps to them when the desktop's palette or font changes.
class Text : public QLabel {
    Q_OBJECT

public:
    Text(const QString& text, theme::Type type, theme::Tone tone = theme::Tone::primary, QWidget* parent = nullptr);

    void setTone(theme::Tone tone);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void dress();

    theme::Type m_type;
    theme::Tone m_tone;
};

} // namespace vantorel
