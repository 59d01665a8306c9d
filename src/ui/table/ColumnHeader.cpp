#include "ui/table/ColumnHeader.h"

#include <QFocusEvent>
#include <QKeyEvent>
#include <QPainter>
#include <QStyleOptionFocusRect>

#include "ui/look/Theme.h"

namespace kestrel {

ColumnHeader::ColumnHeader(QWidget *parent) : QHeaderView(Qt::Horizontal, parent)
{
    setFocusPolicy(Qt::TabFocus);
    setStretchLastSection(false);
    setSectionsMovable(false);
    setTextElideMode(Qt::ElideRight);
    setMinimumSectionSize(Theme::em(2));
    setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    setAccessibleDescription(QStringLiteral(
        "Pfeiltasten wählen eine Spalte, mit der Umschalttaste ändern sie ihre Breite, Leertaste sortiert."));
}

void ColumnHeader::keyPressEvent(QKeyEvent *event)
{
    const int direction = event->key() == Qt::Key_Right ? 1 : event->key() == Qt::Key_Left ? -1 : 0;
    const auto modifiers = event->modifiers() & ~Qt::KeypadModifier;
    if (direction != 0 && modifiers == Qt::NoModifier)
        return goTo(m_current + direction);
    if (direction != 0 && modifiers == Qt::ShiftModifier)
        return widen(direction * Theme::em(0.5));
    switch (event->key()) {
    case Qt::Key_Space:
    case Qt::Key_Return:
    case Qt::Key_Enter:
        emit sectionClicked(m_current);
        return;
    case Qt::Key_Home:
        return goTo(0);
    case Qt::Key_End:
        return goTo(count() - 1);
    default:
        event->ignore(); // else it would move a cursor that heads do not have
    }
}

void ColumnHeader::goTo(int section)
{
    m_current = std::clamp(section, 0, count() - 1);
    setAccessibleName(
        QStringLiteral("Spaltenkopf %1")
            .arg(model()->headerData(m_current, Qt::Horizontal, Qt::AccessibleTextRole).toString()));
    viewport()->update();
}

void ColumnHeader::widen(int step)
{
    if (sectionResizeMode(m_current) != Interactive)
        return;
    resizeSection(m_current, std::max(minimumSectionSize(), sectionSize(m_current) + step));
    emit widthsChosen();
}

void ColumnHeader::focusInEvent(QFocusEvent *event)
{
    QHeaderView::focusInEvent(event);
    goTo(m_current);
}

void ColumnHeader::focusOutEvent(QFocusEvent *event)
{
    QHeaderView::focusOutEvent(event);
    viewport()->update();
}

// Not while somebody drags: the edge would run away from the pointer.
void ColumnHeader::mouseReleaseEvent(QMouseEvent *event)
{
    QHeaderView::mouseReleaseEvent(event);
    emit widthsChosen();
}

void ColumnHeader::paintSection(QPainter *painter, const QRect &rect, int section) const
{
    painter->save(); // Qt leaves a clip behind
    QHeaderView::paintSection(painter, rect, section);
    painter->restore();
    if (!hasFocus() || section != m_current)
        return;
    QStyleOptionFocusRect ring;
    ring.initFrom(this);
    ring.rect = rect.adjusted(1, 1, -1, -2);
    style()->drawPrimitive(QStyle::PE_FrameFocusRect, &ring, painter, this);
}

} // namespace kestrel
