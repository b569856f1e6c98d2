#include "controls/Theme.h"

#include <QApplication>
#include <QEvent>
#include <QFontDatabase>
#include <QStyle>
#include <QWidget>

#include <algorithm>
#include <cmath>

namespace vantorel {

namespace {

QColor withAlpha(QColor color, qreal alpha) {
    color.setAlphaF(static_cast<float>(alpha));
    return color;
}

QFont scaled(QFont font, qreal factor, QFont::Weight weight = QFont::Normal) {
    if (font.pixelSize() > 0)
        font.setPixelSize(std::max(1, qRound(font.pixelSize() * factor)));
    else
        font.setPointSizeF(font.pointSizeF() * factor);
    font.setWeight(weight);
    // A painter takes what a font leaves open from the widget that it paints on.
    font.setFamilies(font.families());
    return font;
}

} // namespace

bool theme::isDark(const QPalette& palette) {
    return palette.color(QPalette::Window).lightnessF() < palette.color(QPalette::WindowText).lightnessF();
}

bool theme::isHighContrast(const QPalette& palette) {
    const float text = palette.color(QPalette::WindowText).lightnessF();
    return std::abs(text - palette.color(QPalette::Window).lightnessF()) > 0.98F;
}

QColor theme::mixed(const QColor& a, const QColor& b, qreal shareOfB) {
    const auto mix = [shareOfB](float x, float y) {
        return static_cast<float>(static_cast<qreal>(x) * (1 - shareOfB) + static_cast<qreal>(y) * shareOfB);
    };
    return QColor::fromRgbF(mix(a.redF(), b.redF()), mix(a.greenF(), b.greenF()), mix(a.blueF(), b.blueF()));
}

QColor theme::color(Tone tone, const QPalette& palette) {
    const QColor text = palette.color(QPalette::WindowText), window = palette.color(QPalette::Window);
    const bool dark = isDark(palette), strong = isHighContrast(palette);
    switch (tone) {
    case Tone::primary: return text;
    case Tone::secondary: return mixed(text, window, strong ? 0.1 : 0.28);
    case Tone::tertiary: return mixed(text, window, strong ? 0.2 : 0.36);
    case Tone::accent: return palette.color(QPalette::Highlight);
    case Tone::onAccent: return palette.color(QPalette::HighlightedText);
    case Tone::blue: return dark ? QColor(0x7a, 0xb8, 0xff) : QColor(0x0a, 0x5b, 0xc4);
    case Tone::purple: return dark ? QColor(0xd0, 0xa5, 0xf7) : QColor(0x80, 0x2f, 0xb8);
    case Tone::red: return dark ? QColor(0xff, 0x8a, 0x80) : QColor(0xbf, 0x21, 0x17);
    case Tone::green: return dark ? QColor(0x32, 0xd7, 0x4b) : QColor(0x1f, 0x96, 0x3c);
    case Tone::orange: return dark ? QColor(0xff, 0x9f, 0x0a) : QColor(0xcf, 0x66, 0x00);
    case Tone::gray: return mixed(text, window, 0.45);
    case Tone::outline: return withAlpha(text, strong ? 0.7 : dark ? 0.18 : 0.2);
    case Tone::separator: return withAlpha(text, strong ? 0.5 : 0.12);
    case Tone::panel: return dark ? withAlpha(Qt::white, 0.05) : withAlpha(Qt::white, 0.6);
    case Tone::hover: return withAlpha(text, 0.06);
    case Tone::pressed: return withAlpha(text, 0.13);
    }
    return text;
}

QFont theme::font(Type type, const QFont& body) {
    switch (type) {
    case Type::headline: return scaled(body, 1.1, QFont::DemiBold);
    case Type::subheadline: return scaled(body, 1.0, QFont::DemiBold);
    case Type::body: return body;
    case Type::callout: return scaled(body, 0.96);
    case Type::footnote: return scaled(body, 0.9);
    case Type::caption: return scaled(body, 0.88);
    case Type::caption2: return scaled(body, 0.825);
    case Type::monospacedCaption: {
        QFont fixed = QFontDatabase::systemFont(QFontDatabase::FixedFont);
        if (body.pixelSize() > 0)
            fixed.setPixelSize(body.pixelSize());
        else
            fixed.setPointSizeF(body.pointSizeF());
        return scaled(fixed, 0.86);
    }
    }
    return body;
}

// Not every widget is told of such a change by the toolkit, but the application is.
void theme::whenChanged(QWidget* widget, std::function<void()> dress) {
    class Watcher : public QObject {
    public:
        explicit Watcher(QObject* parent) : QObject(parent) { }
        std::function<void()> dress;

    protected:
        bool eventFilter(QObject* watched, QEvent* event) override {
            const bool isChange =
                event->type() == QEvent::ApplicationPaletteChange || event->type() == QEvent::ApplicationFontChange;
            if (isChange && watched == qApp)
                dress();
            return false;
        }
    };
    auto* const watcher = new Watcher(widget);
    watcher->dress = std::move(dress);
    qApp->installEventFilter(watcher);
}

int theme::animationTime(const QWidget* widget) {
    return std::min(widget->style()->styleHint(QStyle::SH_Widget_Animation_Duration, nullptr, widget), 160);
}

} // namespace vantorel
