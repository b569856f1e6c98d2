#pragma once

#include <QColor>
#include <QFont>
#include <QPalette>

#include <functional>

class QWidget;

namespace vantorel {

/// Colours, type and shapes that all windows share. Everything is derived from the palette and font in effect at the
/// call, so that a change of the desktop's theme shows with the next repaint.
namespace theme {

enum class Tone {
    primary, ///< text that matters
    secondary, ///< text beside it
    tertiary, ///< hints and decoration
    accent, ///< the desktop's own colour for what is chosen
    onAccent, ///< text on the accent
    blue,
    purple,
    red,
    green, ///< of marks: it works, it is on
    orange, ///< of marks: something is missing
    gray, ///< of marks: it is off
    outline, ///< thin lines around panels and controls
    separator, ///< thin lines between things
    panel, ///< the fill of a panel on the window
    hover, ///< laid over what the pointer is on
    pressed, ///< laid over what is held down
};

/// Texts reach a contrast of 4.5 to 1 against the window and the base wherever the palette's own text does; marks,
/// which are no texts, 3 to 1.
QColor color(Tone tone, const QPalette& palette);

bool isDark(const QPalette& palette);

/// Whether the user wants all the contrast that there is: pure black and pure white.
bool isHighContrast(const QPalette& palette);

/// Opaque, between a (at 0) and b (at 1).
QColor mixed(const QColor& a, const QColor& b, qreal shareOfB);

enum class Type {
    headline,
    subheadline,
    body,
    callout,
    footnote, ///< 12 pixels high where the desktop's font is 10 points
    caption,
    caption2, ///< the smallest: 11 pixels there
    monospacedCaption,
};

QFont font(Type type, const QFont& body);

constexpr qreal kCornerRadius = 6; ///< of controls, in logical pixels
constexpr qreal kPanelRadius = 10; ///< of panels and cards

/// Calls back whenever the palette or the font of the application changes, as long as the widget lives: for what a
/// widget has made of them and keeps.
void whenChanged(QWidget* widget, std::function<void()> dress);

/// How long a thing may take to its new place or state, in milliseconds; 0 where the desktop wants no animations.
int animationTime(const QWidget* widget);

} // namespace theme

} // namespace vantorel
