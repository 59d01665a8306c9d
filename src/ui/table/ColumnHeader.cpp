#include "ui/table/ColumnHeader.h"

#include <QFocusEvent>
#include <QKeyEvent>
#include <QPainter>
#include <QScopedValueRollback>
#include <QStyleOptionFocusRect>
#include <algorithm>
#include <array>
#include <functional>

#include "ui/look/Accessibility.h"
#include "ui/look/Theme.h"

namespace kestrel {

namespace {

constexpr double ampleNames = 24; // in heights of the text

const Columns::Width &widthOf(int section, bool hasStatus = true)
{
    const Columns::Column &column = Columns::at(section);
    return !hasStatus && column.widthWhileEmpty ? *column.widthWhileEmpty : column.width;
}

} // namespace

ColumnHeader::ColumnHeader(LibraryModel &rows, QWidget *parent)
    : QHeaderView(Qt::Horizontal, parent), m_rows(rows)
{
    setFocusPolicy(Qt::TabFocus);
    setStretchLastSection(false);
    setSectionsMovable(false);
    setTextElideMode(Qt::ElideRight);
    setMinimumSectionSize(Theme::em(2));
    setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    setAccessibleDescription(QStringLiteral(
        "Pfeiltasten wählen eine Spalte, mit der Umschalttaste ändern sie ihre Breite, Leertaste sortiert."));
    connect(this, &QHeaderView::sectionResized, this, [this](int section, int, int width) {
        if (!m_isFitting)
            m_chosen[static_cast<std::size_t>(section)] = width;
    });
    // The arrow reduces a title's room.
    connect(this, &QHeaderView::sortIndicatorChanged, this, &ColumnHeader::widthsChosen);
}

QByteArray ColumnHeader::chosenWidths() const
{
    QByteArray state;
    for (const int width : m_chosen)
        state += QByteArray::number((1000 * width + Theme::em(0.5)) / Theme::em(1)) + ' ';
    return state;
}

void ColumnHeader::restoreWidths(const QByteArray &state)
{
    const QList<QByteArray> parts = state.trimmed().split(' ');
    if (parts.size() != Columns::count)
        return;
    for (int section = 0; section < Columns::count; ++section)
        if (const int width = (std::min(parts[section].toInt(), 200'000) * Theme::em(1) + 500) / 1000;
            width >= Theme::em(widthOf(section).least))
            m_chosen[static_cast<std::size_t>(section)] = width;
    emit widthsChosen();
}

// The names get the width that the others leave. Before the names get short, others shrink; those whose width
// the user chose shrink only before the names get too short. Of ample width, columns with much text get a
// part.
void ColumnHeader::fit(int width, bool hasStatus)
{
    const auto range = [hasStatus](int section) { return widthOf(section, hasStatus); };
    std::array<int, Columns::count> fitted{};
    int names = width;
    for (int section = 0; section < Columns::count; ++section)
        if (section != Columns::name) {
            const int chosen = m_chosen[static_cast<std::size_t>(section)];
            int &own = fitted[static_cast<std::size_t>(section)];
            own = chosen > 0 ? chosen : Theme::em(range(section).usual);
            names -= own;
        }
    const std::vector<Columns::Id> yielding = Columns::yielding();
    const auto give = [&](int section, int given) {
        fitted[static_cast<std::size_t>(section)] += given;
        names -= given;
    };
    const auto isChosen = [this](int section) { return m_chosen[static_cast<std::size_t>(section)] > 0; };
    const auto yieldTo = [&](double wanted, auto mayYield) {
        for (const int section : yielding) {
            const int spare = fitted[static_cast<std::size_t>(section)] - Theme::em(range(section).least);
            if (mayYield(section))
                give(section, -std::clamp(Theme::em(wanted) - names, 0, std::max(0, spare)));
        }
    };
    yieldTo(range(Columns::name).usual, std::not_fn(isChosen));
    yieldTo(range(Columns::name).least, [](int) { return true; });
    for (const int section : yielding)
        if (!isChosen(section))
            give(section, std::clamp((names - Theme::em(ampleNames)) / 2, 0,
                                     Theme::em(range(section).most - range(section).usual)));
    fitted[Columns::name] = std::max(names, Theme::em(range(Columns::name).least));
    const QScopedValueRollback fitting(m_isFitting, true);
    for (int section = 0; section < Columns::count; ++section) {
        const int own = fitted[static_cast<std::size_t>(section)];
        resizeSection(section, own);
        m_rows.setBriefHeading(section, !hasRoomForTitle(section, own));
    }
}

bool ColumnHeader::hasRoomForTitle(int section, int width) const
{
    const QString title = m_rows.headerData(section, Qt::Horizontal, Qt::AccessibleTextRole).toString();
    const int arrow = isSortIndicatorShown() && sortIndicatorSection() == section ? Theme::em(1.1) : 0;
    const int margins = 2 * style()->pixelMetric(QStyle::PM_HeaderMargin, nullptr, this);
    return fontMetrics().horizontalAdvance(title) + arrow + margins <= width;
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
    case Qt::Key_Down:
        return parentWidget()->setFocus();
    default:
        break; // otherwise the table behind would handle it as its own
    }
}

void ColumnHeader::goTo(int section)
{
    m_current = std::clamp(section, 0, count() - 1);
    const QString title = m_rows.headerData(m_current, Qt::Horizontal, Qt::AccessibleTextRole).toString();
    announce(*this, QStringLiteral("Spaltenkopf ") + title); // Qt reports no name for a header with the focus
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

// Emitted after a drag, not during it: the edge would move away from the pointer.
void ColumnHeader::mouseReleaseEvent(QMouseEvent *event)
{
    QHeaderView::mouseReleaseEvent(event);
    emit widthsChosen();
}

void ColumnHeader::paintSection(QPainter *painter, const QRect &rect, int section) const
{
    painter->save(); // Qt does not restore the clip
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
