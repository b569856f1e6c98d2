#include "controls/Text.h"

#include <QApplication>
#include <QStyle>

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

// The label would go to the edge at which the text's own script begins, and a name in Latin letters to the far edge of
// a mirrored window.
void Text::paintEvent(QPaintEvent* event) {
    const bool isForeign = text().isRightToLeft() != (layoutDirection() == Qt::RightToLeft);
    const Qt::Alignment leading = alignment() & Qt::AlignHorizontal_Mask;
    if (isForeign && !(leading & (Qt::AlignHCenter | Qt::AlignAbsolute)))
        setAlignment((alignment() & Qt::AlignVertical_Mask) | Qt::AlignAbsolute
                     | QStyle::visualAlignment(layoutDirection(), leading));
    QLabel::paintEvent(event);
}

void Text::dress() {
    QPalette dressed = QApplication::palette();
    dressed.setColor(QPalette::WindowText, theme::color(m_tone, dressed));
    setPalette(dressed);
    setFont(theme::font(m_type, QApplication::font()));
}

} // namespace vantorel
