#pragma once

#include <QProxyStyle>

namespace kestrel {

// Changes Qt's Fusion: calmer buttons, headers, check marks and bars, drawn from the palette. A tool button
// with the property "primary" is emphasised.
class Style : public QProxyStyle {
    Q_OBJECT

public:
    Style();

    void drawPrimitive(PrimitiveElement element, const QStyleOption *option, QPainter *painter,
                       const QWidget *widget) const override;
    void drawControl(ControlElement element, const QStyleOption *option, QPainter *painter,
                     const QWidget *widget) const override;
    void drawComplexControl(ComplexControl control, const QStyleOptionComplex *option, QPainter *painter,
                            const QWidget *widget) const override;
    QRect subElementRect(SubElement element, const QStyleOption *option,
                         const QWidget *widget) const override;
    QRect subControlRect(ComplexControl control, const QStyleOptionComplex *option, SubControl part,
                         const QWidget *widget) const override;
    int pixelMetric(PixelMetric metric, const QStyleOption *option, const QWidget *widget) const override;
    int styleHint(StyleHint hint, const QStyleOption *option, const QWidget *widget,
                  QStyleHintReturn *data) const override;
    QSize sizeFromContents(ContentsType type, const QStyleOption *option, const QSize &size,
                           const QWidget *widget) const override;
};

namespace Draw {

// Draws a check mark of this size.
void check(QPainter &painter, const QRect &place, Qt::CheckState state, bool isEnabled,
           const QPalette &palette);
// Draws a bar filled to `fraction` (0 … 1).
void bar(QPainter &painter, const QRectF &place, double fraction, const QColor &fill,
         const QPalette &palette);

} // namespace Draw

} // namespace kestrel
