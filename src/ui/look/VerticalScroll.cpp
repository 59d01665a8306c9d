#include "ui/look/VerticalScroll.h"

#include <QApplication>
#include <QEvent>
#include <QPainter>
#include <QScrollBar>
#include <QStyleOptionFocusRect>

#include "ui/look/Theme.h"

namespace kestrel {

VerticalScroll::VerticalScroll(QWidget *contents, QWidget *parent) : QScrollArea(parent)
{
    setFrameShape(QFrame::NoFrame);
    setWidgetResizable(true);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setWidget(contents);
    contents->installEventFilter(this);
    contents->setAutoFillBackground(false);
    viewport()->setAutoFillBackground(false);
    setViewportMargins(ring, ring, ring, ring);
    // Qt scrolls to the focus for the tab key only, not for the letter of a label. A clicked widget is
    // visible already.
    connect(qApp, &QApplication::focusChanged, this, [this](QWidget *old, QWidget *now) {
        const bool isMove = old != nullptr && now != nullptr; // otherwise a window becomes active again
        if (isMove && widget()->isAncestorOf(now) && QGuiApplication::mouseButtons() == Qt::NoButton)
            ensureWidgetVisible(now, 0, Theme::em(1));
    });
}

bool VerticalScroll::event(QEvent *event)
{
    const bool isTaken = QScrollArea::event(event);
    if (event->type() == QEvent::Paint && hasFocus() && window()->testAttribute(Qt::WA_KeyboardFocusChange)) {
        QPainter painter(this);
        QStyleOptionFocusRect option;
        option.initFrom(this);
        style()->drawPrimitive(QStyle::PE_FrameFocusRect, &option, &painter, this);
    }
    return isTaken;
}

QSize VerticalScroll::sizeHint() const
{
    return {widget()->sizeHint().width() + verticalScrollBar()->sizeHint().width() + 2 * ring,
            widget()->sizeHint().height() + 2 * ring};
}

QSize VerticalScroll::minimumSizeHint() const
{
    return {widget()->minimumSizeHint().width() + verticalScrollBar()->sizeHint().width() + 2 * ring,
            Theme::em(6)};
}

bool VerticalScroll::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == widget() && event->type() == QEvent::LayoutRequest)
        setMinimumWidth(minimumSizeHint().width());
    return QScrollArea::eventFilter(watched, event);
}

} // namespace kestrel
