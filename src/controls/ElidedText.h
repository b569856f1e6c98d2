#pragma once

#include "controls/Text.h"

#include <QStringList>

namespace vantorel {

/// A text as it stands in a place that may be too small for it.
struct Elided {
    QStringList lines; ///< none for an empty text
    bool isElided = false; ///< whether anything is missing

    QString joined() const; ///< what can be read, on one line
};

/// Breaks the text into at most `mostLines` lines of `width` logical pixels, between words where it can; the last one
/// ends in an ellipsis where the text goes on. Line breaks and runs of spaces count as one space. However long the text
/// is, only what could be seen is measured.
Elided elided(const QString& text, const QFont& font, qreal width, int mostLines);

/// The text as a tool tip: none of it is markup, and it is as large as can be read at most.
QString toolTipFor(const QString& text);

/// A label that breaks its text into few lines. What does not fit is elided; the whole text is then its tool tip and
/// its accessible description.
class ElidedText : public Text {
    Q_OBJECT

public:
    ElidedText(theme::Type type, theme::Tone tone, int mostLines, QWidget* parent);

    void setWholeText(const QString& text);

    /// Breaks the text into lines of that width, in logical pixels, and returns how high they are.
    int fitInto(int width);

private:
    int m_mostLines;
    QString m_whole;
    QString m_broken; // what the lines were made of, for what width and font
    QFont m_brokenFont;
    int m_brokenWidth = -1;
};

} // namespace vantorel
