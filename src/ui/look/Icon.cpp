#include "ui/look/Icon.h"

#include <QFile>
#include <QGuiApplication>
#include <QIconEngine>
#include <QPainter>
#include <QPixmapCache>
#include <QSvgRenderer>
#include <cmath>

namespace kestrel {

namespace {

QPixmap render(const QString &name, const QColor &color, const QSize &pixels)
{
    const QString key = QStringLiteral("icon:%1:%2:%3x%4")
                            .arg(name, color.name(QColor::HexArgb))
                            .arg(pixels.width())
                            .arg(pixels.height());
    QPixmap pixmap;
    if (QPixmapCache::find(key, &pixmap))
        return pixmap;
    pixmap = QPixmap(pixels);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    QSvgRenderer drawing(QStringLiteral(":/icons/%1.svg").arg(name));
    const int side = std::min(pixels.width(), pixels.height());
    drawing.render(&painter,
                   QRectF((pixels.width() - side) / 2.0, (pixels.height() - side) / 2.0, side, side));
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(pixmap.rect(), color);
    painter.end();
    QPixmapCache::insert(key, pixmap);
    return pixmap;
}

class Engine : public QIconEngine {
public:
    Engine(QString name, Theme::Tone tone) : m_name(std::move(name)), m_tone(tone) {}

    void paint(QPainter *painter, const QRect &place, QIcon::Mode mode, QIcon::State state) override
    {
        const double scale = painter->device()->devicePixelRatioF();
        painter->drawPixmap(place, pixmap((QSizeF(place.size()) * scale).toSize(), mode, state));
    }
    QPixmap pixmap(const QSize &size, QIcon::Mode mode, QIcon::State) override
    {
        const QPalette palette = QGuiApplication::palette();
        QColor color = Theme::color(m_tone, palette);
        if (mode == QIcon::Disabled)
            color = palette.color(QPalette::Disabled, QPalette::ButtonText);
        else if (mode == QIcon::Selected)
            color = palette.color(QPalette::HighlightedText);
        return render(m_name, color, size);
    }
    QPixmap scaledPixmap(const QSize &size, QIcon::Mode mode, QIcon::State state, qreal scale) override
    {
        QPixmap result = pixmap(size, mode, state);
        result.setDevicePixelRatio(scale);
        return result;
    }
    QIconEngine *clone() const override { return new Engine(*this); }
    bool isNull() override { return false; }

private:
    const QString m_name;
    const Theme::Tone m_tone;
};

} // namespace

QIcon Icon::named(const QString &name, Theme::Tone tone)
{
    if (!QFile::exists(QStringLiteral(":/icons/%1.svg").arg(name)))
        return {};
    return QIcon(new Engine(name, tone)); // the icon owns it
}

QPixmap Icon::pixmap(const QString &name, Theme::Tone tone, int side, double scale, const QPalette &palette)
{
    const int pixels = static_cast<int>(std::lround(side * scale));
    QPixmap pixmap = render(name, Theme::color(tone, palette), {pixels, pixels});
    pixmap.setDevicePixelRatio(scale);
    return pixmap;
}

} // namespace kestrel
