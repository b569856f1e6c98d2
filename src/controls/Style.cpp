#include "controls/Style.h"

#include "controls/Symbol.h"
#include "controls/Theme.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QComboBox>
#include <QPainter>
#include <QPushButton>
#include <QStyleFactory>
#include <QStyleOption>

#include <algorithm>
#include <cmath>

namespace vantorel {

namespace {

constexpr int kControlHeight = 30;
constexpr int kScrollBarWidth = 10;
constexpr int kChevrons = 14;
constexpr float kLeastDifference = 0.25F; // in lightness, between a text and what it is on

QRectF crisp(const QRect& rect) {
    return QRectF(rect).adjusted(0.5, 0.5, -0.5, -0.5);
}

void paintRing(QPainter* painter, const QRect& rect, const QPalette& palette) {
    painter->setPen(QPen(theme::color(theme::Tone::accent, palette), 2));
    painter->setBrush(Qt::NoBrush);
    painter->drawRoundedRect(QRectF(rect).adjusted(1, 1, -1, -1), theme::kCornerRadius - 0.5,
                             theme::kCornerRadius - 0.5);
}

// A button, and everything that behaves like one.
void paintBevel(QPainter* painter, const QStyleOption& option) {
    const QPalette& palette = option.palette;
    const bool isEnabled = option.state & QStyle::State_Enabled;
    const bool isDown = option.state & (QStyle::State_Sunken | QStyle::State_On);
    const bool isHovered = isEnabled && (option.state & QStyle::State_MouseOver);
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    if (!isEnabled)
        painter->setOpacity(0.6);
    painter->setPen(QPen(theme::color(theme::Tone::outline, palette), 1));
    painter->setBrush(palette.color(QPalette::Button));
    painter->drawRoundedRect(crisp(option.rect), theme::kCornerRadius, theme::kCornerRadius);
    if (isDown || isHovered) {
        painter->setPen(Qt::NoPen);
        painter->setBrush(theme::color(isDown ? theme::Tone::pressed : theme::Tone::hover, palette));
        painter->drawRoundedRect(crisp(option.rect), theme::kCornerRadius, theme::kCornerRadius);
    }
    painter->restore();
}

bool showsFocus(const QStyleOption& option) {
    return (option.state & QStyle::State_HasFocus) && (option.state & QStyle::State_Enabled);
}

} // namespace

Style::Style() : QProxyStyle(QStyleFactory::create(QStringLiteral("Fusion"))) {
    setObjectName(QStringLiteral("vantorel"));
}

bool Style::isWanted() {
    return QApplication::style()->name().compare(QLatin1StringView("fusion"), Qt::CaseInsensitive) == 0;
}

void Style::polish(QWidget* widget) {
    QProxyStyle::polish(widget);
    if (qobject_cast<QComboBox*>(widget) || qobject_cast<QPushButton*>(widget))
        widget->setAttribute(Qt::WA_Hover);
}

// A theme that does not name the colour of a placeholder, or of what is disabled, gets the toolkit's: that is meant for
// a light desktop and invisible on a dark one.
void Style::polish(QPalette& palette) {
    QProxyStyle::polish(palette);
    const auto mend = [&palette](QPalette::ColorGroup group, QPalette::ColorRole role, QPalette::ColorRole textRole,
                                 QPalette::ColorRole backgroundRole) {
        const QColor text = palette.color(QPalette::Active, textRole);
        const QColor background = palette.color(QPalette::Active, backgroundRole);
        const QColor found = theme::mixed(background, palette.color(group, role), palette.color(group, role).alphaF());
        if (std::abs(found.lightnessF() - background.lightnessF()) < kLeastDifference)
            palette.setColor(group, role, theme::mixed(text, background, 0.4));
    };
    for (const auto group : {QPalette::Active, QPalette::Inactive, QPalette::Disabled})
        mend(group, QPalette::PlaceholderText, QPalette::Text, QPalette::Base);
    mend(QPalette::Disabled, QPalette::WindowText, QPalette::WindowText, QPalette::Window);
    mend(QPalette::Disabled, QPalette::Text, QPalette::Text, QPalette::Base);
    mend(QPalette::Disabled, QPalette::ButtonText, QPalette::ButtonText, QPalette::Button);
}

int Style::pixelMetric(PixelMetric metric, const QStyleOption* option, const QWidget* widget) const {
    switch (metric) {
    case PM_ScrollBarExtent: return kScrollBarWidth;
    case PM_ButtonShiftHorizontal:
    case PM_ButtonShiftVertical: return 0;
    default: return QProxyStyle::pixelMetric(metric, option, widget);
    }
}

int Style::styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                     QStyleHintReturn* returnData) const {
    if (hint == SH_ComboBox_Popup)
        return 0;
    if (hint == SH_ScrollBar_LeftClickAbsolutePosition)
        return 1;
    return QProxyStyle::styleHint(hint, option, widget, returnData);
}

QSize Style::sizeFromContents(ContentsType type, const QStyleOption* option, const QSize& size,
                              const QWidget* widget) const {
    QSize result = QProxyStyle::sizeFromContents(type, option, size, widget);
    if (type == CT_PushButton || type == CT_ComboBox || type == CT_LineEdit)
        result.setHeight(std::max(result.height(), kControlHeight));
    if (type == CT_PushButton)
        result.rwidth() += 16;
    if (type == CT_ItemViewItem)
        result.setHeight(std::max(result.height(), kControlHeight - 2));
    return result;
}

QRect Style::subElementRect(SubElement element, const QStyleOption* option, const QWidget* widget) const {
    const QRect rect = QProxyStyle::subElementRect(element, option, widget);
    return element == SE_LineEditContents ? rect.adjusted(4, 0, -4, 0) : rect;
}

QRect Style::subControlRect(ComplexControl control, const QStyleOptionComplex* option, SubControl subControl,
                            const QWidget* widget) const {
    if (control == CC_ComboBox && subControl == SC_ComboBoxEditField) {
        const QRect field = option->rect.adjusted(8, 2, -(kChevrons + 10), -2);
        return visualRect(option->direction, option->rect, field);
    }
    // A scroll bar without arrows.
    if (control == CC_ScrollBar) {
        const auto* const bar = qstyleoption_cast<const QStyleOptionSlider*>(option);
        const bool isHorizontal = bar->orientation == Qt::Horizontal;
        const int length = isHorizontal ? bar->rect.width() : bar->rect.height();
        const int range = bar->maximum - bar->minimum;
        const auto share = static_cast<double>(bar->pageStep) / std::max(range + bar->pageStep, 1);
        const int slider = range > 0 ? std::max(static_cast<int>(length * share), 28) : length;
        const int start =
            sliderPositionFromValue(bar->minimum, bar->maximum, bar->sliderPosition, length - slider, bar->upsideDown);
        const auto along = [&](int from, int size) {
            return isHorizontal ? QRect(bar->rect.x() + from, bar->rect.y(), size, bar->rect.height())
                                : QRect(bar->rect.x(), bar->rect.y() + from, bar->rect.width(), size);
        };
        switch (subControl) {
        case SC_ScrollBarGroove: return bar->rect;
        case SC_ScrollBarSlider: return along(start, slider);
        case SC_ScrollBarSubPage: return along(0, start);
        case SC_ScrollBarAddPage: return along(start + slider, length - start - slider);
        default: return {};
        }
    }
    return QProxyStyle::subControlRect(control, option, subControl, widget);
}

void Style::drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                          const QWidget* widget) const {
    switch (element) {
    case PE_PanelButtonCommand: paintBevel(painter, *option); return;
    case PE_FrameDefaultButton: return;
    case PE_FrameFocusRect:
        // The line of a list that has the focus is filled with the accent already.
        if (qobject_cast<const QAbstractItemView*>(widget))
            return;
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        paintRing(painter, option->rect, option->palette);
        painter->restore();
        return;
    case PE_PanelLineEdit:
    case PE_FrameLineEdit: {
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        painter->setBrush(option->palette.color(QPalette::Base));
        painter->setPen(QPen(theme::color(theme::Tone::outline, option->palette), 1));
        painter->drawRoundedRect(crisp(option->rect), theme::kCornerRadius, theme::kCornerRadius);
        if (showsFocus(*option))
            paintRing(painter, option->rect, option->palette);
        painter->restore();
        return;
    }
    case PE_PanelItemViewItem: {
        const auto* const item = qstyleoption_cast<const QStyleOptionViewItem*>(option);
        if (!item || !(item->state & (State_Selected | State_MouseOver)))
            return;
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        painter->setPen(Qt::NoPen);
        painter->setBrush((item->state & State_Selected) ? theme::color(theme::Tone::accent, item->palette)
                                                         : theme::color(theme::Tone::hover, item->palette));
        painter->drawRoundedRect(QRectF(item->rect).adjusted(3, 1, -3, -1), 4, 4);
        painter->restore();
        return;
    }
    default: QProxyStyle::drawPrimitive(element, option, painter, widget);
    }
}

void Style::drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                        const QWidget* widget) const {
    if (element == CE_PushButton) {
        // The ring goes around the whole button, not around its text.
        const auto* const button = qstyleoption_cast<const QStyleOptionButton*>(option);
        drawControl(CE_PushButtonBevel, option, painter, widget);
        QStyleOptionButton label = *button;
        label.rect = subElementRect(SE_PushButtonContents, button, widget);
        drawControl(CE_PushButtonLabel, &label, painter, widget);
        if (showsFocus(*option)) {
            painter->save();
            painter->setRenderHint(QPainter::Antialiasing);
            // On the accent itself a ring of the accent would not show.
            const QColor fill = button->palette.color(QPalette::Button);
            const bool isAccent = fill == button->palette.color(QPalette::Highlight);
            painter->setPen(QPen(theme::color(isAccent ? theme::Tone::onAccent : theme::Tone::accent, button->palette),
                                 isAccent ? 1.5 : 2));
            const qreal inset = isAccent ? 2.5 : 1;
            painter->drawRoundedRect(QRectF(option->rect).adjusted(inset, inset, -inset, -inset),
                                     theme::kCornerRadius - inset, theme::kCornerRadius - inset);
            painter->restore();
        }
        return;
    }
    QProxyStyle::drawControl(element, option, painter, widget);
}

void Style::drawComplexControl(ComplexControl control, const QStyleOptionComplex* option, QPainter* painter,
                               const QWidget* widget) const {
    if (control == CC_ComboBox) {
        QStyleOption bevel = *option;
        bevel.state.setFlag(State_On, false);
        paintBevel(painter, bevel);
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        const QRect arrows = visualRect(
            option->direction, option->rect,
            QRect(option->rect.right() - kChevrons - 6, option->rect.top(), kChevrons, option->rect.height()));
        if (!(option->state & State_Enabled))
            painter->setOpacity(0.5);
        paintSymbol(*painter, arrows, Symbol::chevrons, theme::color(theme::Tone::secondary, option->palette));
        painter->setOpacity(1);
        if (showsFocus(*option))
            paintRing(painter, option->rect, option->palette);
        painter->restore();
        return;
    }
    if (control == CC_ScrollBar) {
        const auto* const bar = qstyleoption_cast<const QStyleOptionSlider*>(option);
        if (bar->maximum <= bar->minimum)
            return;
        QRectF slider = subControlRect(CC_ScrollBar, option, SC_ScrollBarSlider, widget);
        slider.adjust(2, 2, -2, -2);
        const bool isHeld = bar->activeSubControls == SC_ScrollBarSlider && (bar->state & State_Sunken);
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        QColor color = theme::color(theme::Tone::primary, bar->palette);
        color.setAlphaF(isHeld ? 0.55F : (bar->state & State_MouseOver) ? 0.42F : 0.28F);
        painter->setPen(Qt::NoPen);
        painter->setBrush(color);
        const qreal radius = std::min(slider.width(), slider.height()) / 2;
        painter->drawRoundedRect(slider, radius, radius);
        painter->restore();
        return;
    }
    QProxyStyle::drawComplexControl(control, option, painter, widget);
}

} // namespace vantorel
