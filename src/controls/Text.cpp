#include "controls/Text.h"

#include <QApplication>
#include <QEvent>

namespace vantorel {

Text::Text(const QString& text, theme::Type type, theme::Tone tone, QWidget* parent)
    : QLabel(text, parent)
    , m_type(type)
    , m_tone(tone) {
    // Captions quote what the user has typed: none of it is markup.
    setTextFormat(Qt::PlainText);
    dress();
}

void Text::setTone(theme::Tone tone) {
    m_tone = tone;
    dress();
}

void Text::changeEvent(QEvent* event) {
    if (event->type() == QEvent::ApplicationPaletteChange || event->type() == QEvent::ApplicationFontChange)
        dress();
    QLabel::changeEvent(event);
}

void Text::dress() {
    QPalette dressed = QApplication::palette();
    dressed.setColor(QPalette::WindowText, theme::color(m_tone, dressed));
    setPalette(dressed);
    setFont(theme::font(m_type, QApplication::font()));
}

} // namespace vantorel
