#include "controls/Text.h"

#include <QApplication>

namespace vantorel {

Text::Text(const QString& text, theme::Type type, theme::Tone tone, QWidget* parent)
    : QLabel(text, parent)
    , m_type(type)
    , m_tone(tone) {
    // Captions quote what the user has typed: none of it is markup.
    setTextFormat(Qt::PlainText);
    dress();
    theme::whenChanged(this, [this] { dress(); });
}

void Text::setTone(theme::Tone tone) {
    m_tone = tone;
    dress();
}

void Text::dress() {
    QPalette dressed = QApplication::palette();
    dressed.setColor(QPalette::WindowText, theme::color(m_tone, dressed));
    setPalette(dressed);
    setFont(theme::font(m_type, QApplication::font()));
}

} // namespace vantorel
