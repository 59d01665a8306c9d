#include "ui/table/LibraryView.h"

#include <QAccessible>
#include <QContextMenuEvent>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QScopedValueRollback>
#include <QScrollBar>
#include <algorithm>

#include "model/Sentences.h"
#include "ui/look/Accessibility.h"
#include "ui/look/Icon.h"
#include "ui/look/Phrases.h"
#include "ui/look/Strings.h"
#include "ui/table/NameSearch.h"
#include "ui/table/RowDelegate.h"

namespace kestrel {

namespace {

QString opened()
{
    return QStringLiteral("aufgeklappt");
}

} // namespace

LibraryView::LibraryView(AppModel &model, QWidget *parent)
    : QTreeView(parent), m_model(model), m_rows(model), m_header(new ColumnHeader(m_rows, this)),
      m_search(
          new NameSearch(*this, [this](const QString &text, bool isNext) { return goToName(text, isNext); }))
{
    setModel(&m_rows);
    auto *delegate = new RowDelegate(m_rows, this);
    setItemDelegate(delegate);
    connect(delegate, &RowDelegate::checkClicked, this, &LibraryView::toggleIncluded);

    setAccessibleName(QStringLiteral("Videodateien"));
    setFrameShape(QFrame::NoFrame);
    setUniformRowHeights(true);
    setTreePosition(Columns::name);
    setIndentation(Theme::em(1.1));
    setSelectionMode(QAbstractItemView::ExtendedSelection);
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    setHorizontalScrollMode(QAbstractItemView::ScrollPerPixel);
    setExpandsOnDoubleClick(false);
    setMouseTracking(true);

    setHeader(m_header); // it resets both of these
    m_header->setSectionsClickable(true);
    m_header->setSortIndicatorShown(true);
    for (const Columns::Column &column : Columns::all)
        if (column.yields == 0)
            m_header->setSectionResizeMode(column.id, QHeaderView::Fixed);
    fitColumns();
    connect(m_header, &ColumnHeader::widthsChosen, this, &LibraryView::fitColumns);
    connect(&m_rows, &LibraryModel::statusCame, this, &LibraryView::fitColumns);
    connect(m_header, &QHeaderView::sectionClicked, this, &LibraryView::sortBy);

    const Library &library = model.library();
    connect(&library, &Library::filled, this, &LibraryView::showExpansion);
    connect(&library, &Library::expansionChanged, this, [this] {
        if (!m_isFollowing)
            showExpansion();
    });
    connect(&library, &Library::selectionChanged, this, &LibraryView::showSelection);
    connect(&library, &Library::sorted, this, &LibraryView::showSortOrder);
    const auto follow = [this](const QModelIndex &index, bool isExpanded) {
        Library &rows = m_model.library();
        const auto &folder = m_rows.node(index).id;
        if (m_isFollowing || !m_rows.node(index).isFolder() ||
            rows.expandedFolders().contains(folder) == isExpanded)
            return;
        const QScopedValueRollback following(m_isFollowing, true);
        rows.toggleFolder(folder);
    };
    const auto isCurrent = [this](const QModelIndex &row) {
        return currentIndex().siblingAtColumn(0) == row;
    };
    connect(this, &QTreeView::expanded, this, [this, follow, isCurrent](const QModelIndex &index) {
        follow(index, true);
        if (isCurrent(index))
            announceChange(opened());
    });
    connect(this, &QTreeView::collapsed, this, [this, follow, isCurrent](const QModelIndex &index) {
        follow(index, false);
        leaveClosedFolders();
        if (isCurrent(index))
            announceChange(QStringLiteral("zugeklappt"));
    });
    connect(this, &QTreeView::doubleClicked, this, [this](const QModelIndex &index) {
        if (index.column() == Columns::include)
            return;
        if (m_rows.node(index).isFolder())
            setExpanded(index.siblingAtColumn(0), !isExpanded(index.siblingAtColumn(0)));
        else
            emit detailsRequested(m_rows.node(index).id);
    });
    connect(this, &QTreeView::entered, this,
            [this](const QModelIndex &index) { m_hovered = index.siblingAtColumn(0); });
    connect(&library, &Library::aboutToBeFilled, this, &LibraryView::keepPlace);
    connect(&library, &Library::filled, this, &LibraryView::returnToPlace);
    m_clock.setInterval(5000);
    connect(&m_clock, &QTimer::timeout, viewport(), QOverload<>::of(&QWidget::update));
    const auto watch = [this] {
        const bool isConverting = m_model.activity().kind == Activity::Kind::converting;
        if (isConverting != m_clock.isActive())
            isConverting ? m_clock.start() : m_clock.stop();
    };
    connect(&model, &AppModel::activityChanged, this, watch);
    watch();
    showExpansion();
    showSortOrder();
}

void LibraryView::resizeEvent(QResizeEvent *event)
{
    QTreeView::resizeEvent(event);
    if (event->size().width() != event->oldSize().width())
        fitColumns();
}

void LibraryView::fitColumns()
{
    m_header->fit(viewport()->width(), m_rows.hasStatus());
}

void LibraryView::sortBy(int section)
{
    const auto column = Columns::at(section).sortedBy;
    if (!column)
        return showSortOrder();
    const SortOrder &order = m_model.library().sortOrder();
    RowComparator first = usual(*column);
    if (!order.empty() && order.front().column == *column)
        first.isAscending = !order.front().isAscending;
    m_model.library().setSortOrder(sortedFirst(order, first));
    showSortOrder();
}

void LibraryView::showSortOrder()
{
    const SortOrder &order = m_model.library().sortOrder();
    if (!order.empty())
        header()->setSortIndicator(Columns::sorting(order.front().column).id,
                                   order.front().isAscending ? Qt::AscendingOrder : Qt::DescendingOrder);
}

void LibraryView::showExpansion()
{
    if (m_rows.isFilling())
        return; // this is called again after the filling
    const QScopedValueRollback following(m_isFollowing, true);
    scheduleDelayedItemsLayout(); // avoids a layout for each folder
    const Library::Ids &folders = m_model.library().expandedFolders();
    forEachFolder(m_model.library().root(), [&](const TableNode &folder) {
        setExpanded(m_rows.indexOf(folder, 0), folders.contains(folder.id));
    });
    leaveClosedFolders();
}

// Moves the current row out of collapsed folders, so that it is visible.
void LibraryView::leaveClosedFolders()
{
    QModelIndex closed;
    for (QModelIndex folder = currentIndex().parent(); folder.isValid(); folder = folder.parent())
        if (!isExpanded(folder))
            closed = folder;
    if (closed.isValid())
        selectionModel()->setCurrentIndex(closed, QItemSelectionModel::NoUpdate);
}

void LibraryView::selectionChanged(const QItemSelection &selected, const QItemSelection &deselected)
{
    QTreeView::selectionChanged(selected, deselected);
    if (m_isFollowing)
        return;
    Library::Ids ids;
    for (const QItemSelectionRange &range : selectionModel()->selection())
        for (int row = range.top(); row <= range.bottom(); ++row)
            ids.insert(m_rows.node(m_rows.index(row, 0, range.parent())).id);
    const QScopedValueRollback following(m_isFollowing, true);
    m_model.library().setSelection(std::move(ids));
}

// A click on the check mark of a selected row applies to all selected rows. Newer Qt would reduce the
// selection to that one before the delegate receives the click.
QItemSelectionModel::SelectionFlags LibraryView::selectionCommand(const QModelIndex &index,
                                                                  const QEvent *event) const
{
    const bool isButton = event != nullptr && (event->type() == QEvent::MouseButtonPress ||
                                               event->type() == QEvent::MouseButtonRelease);
    if (isButton && index.column() == Columns::include && selectionModel()->isSelected(index) &&
        static_cast<const QMouseEvent *>(event)->modifiers() == Qt::NoModifier)
        return QItemSelectionModel::NoUpdate;
    return QTreeView::selectionCommand(index, event);
}

void LibraryView::showSelection()
{
    if (m_isFollowing)
        return;
    QItemSelection selection;
    QModelIndex first;
    for (const auto &id : m_model.library().selection())
        if (const QModelIndex index = m_rows.indexOf(id); index.isValid()) {
            selection.select(index.siblingAtColumn(0), index.siblingAtColumn(Columns::count - 1));
            first = first.isValid() ? first : index;
        }
    Library::Ids around;
    for (QModelIndex folder = first.parent(); folder.isValid(); folder = folder.parent())
        around.insert(m_rows.node(folder).id);
    m_model.library().expand(around); // makes the row visible
    const QScopedValueRollback following(m_isFollowing, true);
    selectionModel()->select(selection, QItemSelectionModel::ClearAndSelect);
    if (first.isValid()) {
        selectionModel()->setCurrentIndex(first, QItemSelectionModel::NoUpdate);
        scrollTo(first);
    }
}

// Repaints the whole rows: Qt repaints only the two cells, but the focus ring surrounds the row.
void LibraryView::currentChanged(const QModelIndex &current, const QModelIndex &previous)
{
    QTreeView::currentChanged(current, previous);
    for (const QModelIndex &index : {current, previous})
        if (index.isValid()) {
            const QRect cell = visualRect(index);
            viewport()->update(0, cell.y(), viewport()->width(), cell.height());
        }
}

// Toggles all selected rows together if this row is one of them.
void LibraryView::toggleIncluded(const QModelIndex &index)
{
    const auto &id = m_rows.node(index).id;
    const Library::Ids &selection = m_model.library().selection();
    const QVariant state = index.siblingAtColumn(Columns::include).data(Qt::CheckStateRole);
    if (!state.isValid())
        return; // there is nothing to choose
    const bool isIncluded = state.toInt() == Qt::Checked;
    m_model.library().setIncluded(selection.contains(id) ? selection : Library::Ids{id}, !isIncluded);
    announceChange(index.siblingAtColumn(Columns::include).data(Qt::AccessibleTextRole).toString());
}

// Announces only the user's own changes: folders also open by themselves when a library is filled.
void LibraryView::announceChange(const QString &text)
{
    if (hasFocus() && !m_isFollowing)
        announce(*this, text);
}

// Reports the row in focus, because Qt reports only that the table has the focus.
void LibraryView::focusInEvent(QFocusEvent *event)
{
    QTreeView::focusInEvent(event);
    if (!currentIndex().isValid())
        return;
    const int row =
        (visualRect(currentIndex()).y() + verticalOffset()) / std::max(1, rowHeight(currentIndex()));
    QAccessibleEvent focus(this, QAccessible::Focus);
    focus.setChild((row + 1) * Columns::count + currentIndex().column()); // the header is the first row
    QAccessible::updateAccessibility(&focus);
}

// Keys with a modifier are left to the view: Ctrl+Space adds a row to the selection.
void LibraryView::keyPressEvent(QKeyEvent *event)
{
    const QModelIndex current = currentIndex();
    if (m_search->takes(*event))
        return;
    if (current.isValid() && event->key() == Qt::Key_F10 && event->modifiers() == Qt::ShiftModifier)
        return showMenuAt(current); // for keyboards without a menu key
    // Qt's own "*" would open files, too; on German keyboards it needs Shift.
    if (current.isValid() && (event->text() == "*" || event->text() == "+" || event->text() == "-"))
        return expand(m_rows.node(current), event->text());
    if (!current.isValid() || (event->modifiers() & ~Qt::KeypadModifier) != Qt::NoModifier)
        return QTreeView::keyPressEvent(event);
    const TableNode &row = m_rows.node(current);
    switch (event->key()) {
    case Qt::Key_Space:
        return toggleIncluded(current);
    case Qt::Key_Return:
    case Qt::Key_Enter:
        if (row.isFolder())
            return setExpanded(current.siblingAtColumn(0), !isExpanded(current.siblingAtColumn(0)));
        emit detailsRequested(row.id);
        return;
    default:
        QTreeView::keyPressEvent(event);
    }
}

void LibraryView::expand(const TableNode &row, const QString &key)
{
    if (!row.isFolder())
        return;
    if (key != "*")
        return setExpanded(m_rows.indexOf(row, 0), key == "+");
    Library::Ids folders{row.id};
    forEachFolder(row, [&](const TableNode &below) { folders.insert(below.id); });
    m_model.library().expand(folders);
    announceChange(opened());
}

// This replaces Qt's own search, which handles the blank as a command and does not show what was typed.
void LibraryView::keyboardSearch(const QString &typed)
{
    m_search->add(typed);
}

bool LibraryView::goToName(const QString &beginning, bool isNext)
{
    const TableNode *current = currentIndex().isValid() ? &m_rows.node(currentIndex()) : nullptr;
    const TableNode *row = m_rows.rowNamed(beginning, current, isNext);
    if (row != nullptr)
        setCurrentIndex(m_rows.indexOf(*row, 0));
    return row != nullptr;
}

void LibraryView::leaveEvent(QEvent *event)
{
    QTreeView::leaveEvent(event);
    m_hovered = QModelIndex();
}

// Stores the current row and the scroll position, which a new search of the same folder must not change.
void LibraryView::keepPlace()
{
    if (m_model.library().items().empty())
        return;
    m_place = {m_model.library().root().id,
               currentIndex().isValid() ? m_rows.node(currentIndex()).id : std::filesystem::path(),
               verticalScrollBar()->value()};
}

void LibraryView::returnToPlace()
{
    if (m_model.library().items().empty())
        return;
    const bool isKnown = m_place.root == m_model.library().root().id;
    const QModelIndex before = isKnown ? m_rows.indexOf(m_place.current) : QModelIndex();
    if (before.isValid() || hasFocus()) // the current row must be visible
        selectionModel()->setCurrentIndex(before.isValid() ? before : m_rows.index(0, 0),
                                          QItemSelectionModel::NoUpdate);
    executeDelayedItemsLayout();
    if (isKnown && (before.isValid() || !hasFocus()))
        verticalScrollBar()->setValue(m_place.scroll);
}

void LibraryView::contextMenuEvent(QContextMenuEvent *event)
{
    if (event->reason() == QContextMenuEvent::Keyboard && currentIndex().isValid())
        return showMenuAt(currentIndex());
    emit menuRequested(event->globalPos(), false);
}

void LibraryView::showMenuAt(const QModelIndex &index)
{
    const QRect room = viewport()->rect();
    const QPoint place = visualRect(index).center(); // it may be scrolled out of view
    emit menuRequested(viewport()->mapToGlobal(QPoint(std::clamp(place.x(), room.left(), room.right()),
                                                      std::clamp(place.y(), room.top(), room.bottom()))),
                       true);
}

void LibraryView::drawRow(QPainter *painter, const QStyleOptionViewItem &option,
                          const QModelIndex &index) const
{
    QTreeView::drawRow(painter, option, index);
    const auto &colors = Theme::colors(palette());
    painter->setPen(colors.line);
    painter->drawLine(option.rect.bottomLeft(), option.rect.bottomRight());
    if (hasFocus() && currentIndex().isValid() &&
        index.siblingAtColumn(0) == currentIndex().siblingAtColumn(0)) {
        painter->save();
        painter->setPen(QPen(colors.accent, 2));
        painter->setBrush(Qt::NoBrush);
        painter->drawRect(option.rect.adjusted(1, 1, -1, -2));
        painter->restore();
    }
}

void LibraryView::drawBranches(QPainter *painter, const QRect &rect, const QModelIndex &index) const
{
    const auto &colors = Theme::colors(palette());
    if (selectionModel()->isSelected(index))
        painter->fillRect(rect, colors.selection);
    else if (m_hovered == index.siblingAtColumn(0))
        painter->fillRect(rect, colors.hover);
    if (!m_rows.node(index).isFolder())
        return;
    const int side = Theme::em(0.9);
    const QRect place(rect.right() - indentation() + (indentation() - side) / 2 + 1,
                      rect.center().y() - side / 2, side, side);
    painter->drawPixmap(
        place.topLeft(),
        Icon::pixmap(isExpanded(index) ? QStringLiteral("chevron-down") : QStringLiteral("chevron-right"),
                     Theme::Tone::muted, side, devicePixelRatioF(), palette()));
}

void LibraryView::paintEvent(QPaintEvent *event)
{
    QTreeView::paintEvent(event);
    if (m_rows.rowCount() > 0)
        return;
    QPainter painter(viewport());
    painter.setPen(Theme::colors(palette()).muted);
    painter.drawText(viewport()->rect().adjusted(20, 20, -20, -20), Qt::AlignCenter | Qt::TextWordWrap,
                     m_model.activity().kind == Activity::Kind::scanning ? qt(Sentences::searching)
                     : m_model.tools() ? QStringLiteral("Die Liste ist leer.")
                                       : Phrases::lookingForTools);
}

} // namespace kestrel
