// render-icon DRAWING.svg SIZE OUTPUT.png: renders the application's icon, opaque.

#include <QFile>
#include <QImage>
#include <QPainter>
#include <QSvgRenderer>
#include <cstdio>
#include <cstdlib>

int main(int count, char **words)
{
    const QString drawing = count == 4 ? QString::fromLocal8Bit(words[1]) : QString();
    QSvgRenderer renderer(drawing);
    const int size = count == 4 ? std::atoi(words[2]) : 0;
    if (!renderer.isValid() || size <= 0) {
        std::fputs("render-icon DRAWING.svg SIZE OUTPUT.png\n", stderr);
        return 1;
    }
    QImage image(size, size, QImage::Format_RGB32);
    image.fill(Qt::white);
    QPainter painter(&image);
    renderer.render(&painter);
    painter.end();
    return image.save(QString::fromLocal8Bit(words[3]), "PNG") ? 0 : 1;
}
