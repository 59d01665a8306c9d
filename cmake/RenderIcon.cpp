// render-icon [--transparent] DRAWING.svg SIZE OUTPUT.png: renders the application's icon; opaque, as phones
// require it, or as it was drawn.

#include <QFile>
#include <QImage>
#include <QPainter>
#include <QSvgRenderer>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string_view>

int main(int count, char **words)
{
    std::span given(words, static_cast<std::size_t>(count));
    const bool isTransparent = given.size() > 1 && given[1] == std::string_view("--transparent");
    given = given.subspan(isTransparent ? 2 : given.empty() ? 0 : 1);
    const QString drawing = given.size() == 3 ? QString::fromLocal8Bit(given[0]) : QString();
    QSvgRenderer renderer(drawing);
    const int size = given.size() == 3 ? std::atoi(given[1]) : 0;
    if (!renderer.isValid() || size <= 0) {
        std::fputs("render-icon [--transparent] DRAWING.svg SIZE OUTPUT.png\n", stderr);
        return 1;
    }
    QImage image(size, size, isTransparent ? QImage::Format_ARGB32 : QImage::Format_RGB32);
    image.fill(isTransparent ? Qt::transparent : Qt::white);
    QPainter painter(&image);
    renderer.render(&painter);
    painter.end();
    return image.save(QString::fromLocal8Bit(given[2]), "PNG") ? 0 : 1;
}
