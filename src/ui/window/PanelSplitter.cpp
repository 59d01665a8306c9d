#include "ui/window/PanelSplitter.h"

#include <QKeyEvent>
#include <QPainter>

#include "ui/look/Theme.h"

namespace kestrel {

namespace {

class Handle : public QSplitterHandle {
public:
    explicit Handle(QSplitter *parent) : QSplitterHandle(Qt::Horizontal, parent)
    {
        setFocusPolicy(Qt::TabFocus);
        setAccessibleName(QStringLiteral("Breite der Einstellungen"));
        setAccessibleDescription(QStringLiteral("Mit den Pfeiltasten zu ändern"));
    }

protected:
    void keyPressEvent(QKeyEvent *event) override
    {
        const int direction = event->key() == Qt::Key_Right ? 1 : event->key() == Qt::Key_Left ? -1 : 0;
        if (direction == 0)
            return QSplitterHandle::keyPressEvent(event);
        moveSplitter(x() + direction * Theme::em(1));
    }

    void paintEvent(QPaintEvent *event) override
    {
        QSplitterHandle::paintEvent(event);
        if (!hasFocus())
            return;
        QPainter painter(this);
        painter.fillRect(QRectF(width() / 2.0 - 1, 0, 2, height()), Theme::colors(palette()).accent);
    }

    void focusInEvent(QFocusEvent *) override { update(); }
    void focusOutEvent(QFocusEvent *) override { update(); }
};

} // namespace

void PanelSplitter::setParts(QWidget *left, QWidget *right)
{
    addWidget(left);
    addWidget(right);
    setStretchFactor(0, 1);
    setStretchFactor(1, 0);
    setChildrenCollapsible(false);
}

QSplitterHandle *PanelSplitter::createHandle()
{
    return new Handle(this);
}

} // namespace kestrel
