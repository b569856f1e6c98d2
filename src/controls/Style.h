#pragma once

#include <QProxyStyle>

namespace vantorel {

/// The look of controls on desktops that give none of their own: flat, rounded, with the palette's colours and a ring
/// of the accent around what has the focus. What it does not draw itself is the base style's.
class Style : public QProxyStyle {
    Q_OBJECT

public:
    Style();

    /// Whether the application's style is the toolkit's own, because the desktop has given none.
    static bool isWanted();

    void polish(QWidget* widget) override;
    /// Mends texts of the palette that could not be read.
    void polish(QPalette& palette) override;
    using QProxyStyle::polish;

    int pixelMetric(PixelMetric metric, const QStyleOption* option, const QWidget* widget) const override;
    int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                  QStyleHintReturn* returnData) const override;
    QSize sizeFromContents(ContentsType type, const QStyleOption* option, const QSize& size,
                           const QWidget* widget) const override;
    QRect subElementRect(SubElement element, const QStyleOption* option, const QWidget* widget) const override;
    QRect subControlRect(ComplexControl control, const QStyleOptionComplex* option, SubControl subControl,
                         const QWidget* widget) const override;
    void drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                       const QWidget* widget) const override;
    void drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                     const QWidget* widget) const override;
    void drawComplexControl(ComplexControl control, const QStyleOptionComplex* option, QPainter* painter,
                            const QWidget* widget) const override;
};

} // namespace vantorel
