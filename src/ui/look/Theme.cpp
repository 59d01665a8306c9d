#include "ui/look/Theme.h"

#include <QFontMetrics>
#include <cmath>

#include "ui/look/Style.h"

namespace kestrel::Theme {

namespace {

const Colors light{.window = 0xf2f2f7,
                   .card = 0xffffff,
                   .line = 0xdcdce2,
                   .track = 0xe5e5ea,
                   .hover = 0xe9e9ef,
                   .selection = 0xdcebff,
                   .text = 0x1c1c1e,
                   .muted = 0x65656a,
                   .accent = 0x0066d6,
                   .green = 0x1e7a35,
                   .orange = 0xb83000,
                   .red = 0xc40012,
                   .purple = 0x8944ab,
                   .onAccent = 0xffffff};

const Colors dark{.window = 0x1c1c1e,
                  .card = 0x28282b,
                  .line = 0x3d3d41,
                  .track = 0x3a3a3e,
                  .hover = 0x323236,
                  .selection = 0x173d66,
                  .text = 0xf5f5f7,
                  .muted = 0xa3a3a9,
                  .accent = 0x4aa3ff,
                  .green = 0x36d55e,
                  .orange = 0xffa726,
                  .red = 0xff6961,
                  .purple = 0xc98af0,
                  .onAccent = 0x06192e};

QPalette palette(const Colors &colors)
{
    QPalette palette(colors.text, colors.card, colors.line, colors.line, colors.track, colors.text,
                     colors.text, colors.card, colors.window);
    palette.setColor(QPalette::AlternateBase, colors.window);
    palette.setColor(QPalette::ToolTipBase, colors.card);
    palette.setColor(QPalette::ToolTipText, colors.text);
    palette.setColor(QPalette::PlaceholderText, colors.muted);
    palette.setColor(QPalette::Highlight, colors.accent);
    palette.setColor(QPalette::HighlightedText, colors.onAccent);
    palette.setColor(QPalette::Link, colors.accent);
    palette.setColor(QPalette::LinkVisited, colors.accent);
    palette.setColor(QPalette::Shadow, colors.line);
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) {
        QColor faint = colors.muted;
        faint.setAlphaF(0.6F);
        palette.setColor(QPalette::Disabled, role, faint);
    }
    return palette;
}

double scale(Size size)
{
    switch (size) {
    case Size::title:
        return 1.75;
    case Size::heading:
        return 1.15;
    case Size::value:
        return 1.45;
    case Size::caption:
        return 0.88;
    case Size::body:
        break;
    }
    return 1;
}

} // namespace

bool isDark(const QPalette &palette)
{
    return palette.color(QPalette::Window).lightness() < 128;
}

const Colors &colors(const QPalette &palette)
{
    return isDark(palette) ? dark : light;
}

QColor color(Tone tone, const QPalette &palette)
{
    const Colors &all = colors(palette);
    switch (tone) {
    case Tone::muted:
        return all.muted;
    case Tone::accent:
        return all.accent;
    case Tone::green:
        return all.green;
    case Tone::orange:
        return all.orange;
    case Tone::red:
        return all.red;
    case Tone::purple:
        return all.purple;
    case Tone::onAccent:
        return all.onAccent;
    case Tone::text:
        break;
    }
    return all.text;
}

QColor tinted(Tone tone, const QPalette &palette)
{
    QColor tint = color(tone, palette);
    tint.setAlphaF(isDark(palette) ? 0.2F : 0.12F);
    return tint;
}

void apply(QApplication &application, bool wantsDark)
{
    if (qobject_cast<Style *>(QApplication::style()) == nullptr)
        QApplication::setStyle(new Style); // the application owns it
    application.setPalette(palette(wantsDark ? dark : light));
}

QFont font(Size size)
{
    QFont font = QApplication::font();
    if (font.pointSizeF() > 0)
        font.setPointSizeF(font.pointSizeF() * scale(size));
    else
        font.setPixelSize(static_cast<int>(std::lround(font.pixelSize() * scale(size))));
    if (size == Size::title || size == Size::heading || size == Size::value)
        font.setWeight(QFont::DemiBold);
    return font;
}

int em(double factor)
{
    return static_cast<int>(std::lround(factor * QFontMetrics(QApplication::font()).height()));
}

} // namespace kestrel::Theme
