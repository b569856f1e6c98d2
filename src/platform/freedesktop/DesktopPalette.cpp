#include "platform/freedesktop/DesktopPalette.h"

#include <cmath>

namespace vantorel {

namespace {

struct Colors {
    QRgb window;
    QRgb base;
    QRgb alternateBase;
    QRgb button;
    QRgb toolTip;
    QRgb text;
    QRgb quietText; // placeholders, and what is disabled
    QRgb link;
    QRgb visitedLink;
    QRgb light;
    QRgb midlight;
    QRgb mid;
    QRgb dark;
    QRgb shadow;
    QRgb accent;
};

constexpr Colors kLight = {
    .window = 0xfff4f4f4,
    .base = 0xffffffff,
    .alternateBase = 0xfff7f7f7,
    .button = 0xfff0f0f0,
    .toolTip = 0xfffdfdfd,
    .text = 0xff1e1e1e,
    .quietText = 0xff666666,
    .link = 0xff1a5fb4,
    .visitedLink = 0xff6d3a9c,
    .light = 0xffffffff,
    .midlight = 0xffe6e6e6,
    .mid = 0xffbdbdbd,
    .dark = 0xffa0a0a0,
    .shadow = 0xff767676,
    .accent = 0xff1c64c8,
};

constexpr Colors kDark = {
    .window = 0xff2b2b2b,
    .base = 0xff232323,
    .alternateBase = 0xff282828,
    .button = 0xff383838,
    .toolTip = 0xff3a3a3a,
    .text = 0xfff0f0f0,
    .quietText = 0xffa8a8a8,
    .link = 0xff78b4ff,
    .visitedLink = 0xffc9a2f2,
    .light = 0xff4c4c4c,
    .midlight = 0xff424242,
    .mid = 0xff1f1f1f,
    .dark = 0xff191919,
    .shadow = 0xff101010,
    .accent = 0xff2d68c8,
};

// Relative luminance (WCAG 2).
double luminance(const QColor& color) {
    const auto linear = [](double part) {
        return part <= 0.04045 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) + 0.0722 * linear(color.blueF());
}

// White as long as it can be read, as desktops do it; black is then always readable.
QColor textOn(const QColor& background) {
    const bool isWhiteReadable = 1.05 / (luminance(background) + 0.05) >= 4.5;
    return isWhiteReadable ? Qt::white : Qt::black;
}

QPalette paletteOf(const Colors& colors, const QColor& chosenAccent) {
    const QColor accent = chosenAccent.isValid() ? chosenAccent : QColor(colors.accent);
    QPalette palette;
    const auto set = [&palette](QPalette::ColorRole role, const QColor& color) { palette.setColor(role, color); };
    set(QPalette::Window, colors.window);
    set(QPalette::Base, colors.base);
    set(QPalette::AlternateBase, colors.alternateBase);
    set(QPalette::Button, colors.button);
    set(QPalette::ToolTipBase, colors.toolTip);
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText, QPalette::ToolTipText}) {
        palette.setColor(QPalette::All, role, colors.text);
        palette.setColor(QPalette::Disabled, role, colors.quietText);
    }
    palette.setColor(QPalette::Disabled, QPalette::ToolTipText, colors.text);
    set(QPalette::BrightText, colors.text);
    set(QPalette::PlaceholderText, colors.quietText);
    set(QPalette::Link, colors.link);
    set(QPalette::LinkVisited, colors.visitedLink);
    set(QPalette::Light, colors.light);
    set(QPalette::Midlight, colors.midlight);
    set(QPalette::Mid, colors.mid);
    set(QPalette::Dark, colors.dark);
    set(QPalette::Shadow, colors.shadow);
    set(QPalette::Highlight, accent);
    set(QPalette::HighlightedText, textOn(accent));
    palette.setColor(QPalette::Disabled, QPalette::Highlight, colors.midlight);
    palette.setColor(QPalette::Disabled, QPalette::HighlightedText, colors.text);
    return palette;
}

} // namespace

bool isQtsOwn(const QPalette& palette) {
    return palette.color(QPalette::Active, QPalette::Window) == QColor(239, 239, 239)
        && palette.color(QPalette::Active, QPalette::WindowText) == QColor(Qt::black)
        && palette.color(QPalette::Active, QPalette::Base) == QColor(Qt::white);
}

QPalette lightPalette(const QColor& accent) {
    return paletteOf(kLight, accent);
}

QPalette darkPalette(const QColor& accent) {
    return paletteOf(kDark, accent);
}

} // namespace vantorel
