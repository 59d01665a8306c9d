#pragma once

#include <QTreeView>
#include <optional>

#include "ui/table/ColumnHeader.h"
#include "ui/table/LibraryModel.h"

namespace kestrel {

class NameSearch;

// Shows the table of the library. The model owns selection, open folders and sort order, so every other front
// shows the same.
class LibraryView : public QTreeView {
    Q_OBJECT

public:
    explicit LibraryView(AppModel &model, QWidget *parent = nullptr);

    const LibraryModel &rows() const { return m_rows; }
    ColumnHeader &columns() { return *m_header; }

signals:
    // Emitted after Return or a double click on a file.
    void detailsRequested(const std::filesystem::path &file);
    void menuRequested(const QPoint &globalPosition, bool isByKey);

protected:
    void keyPressEvent(QKeyEvent *event) override;
    void keyboardSearch(const QString &search) override;
    void resizeEvent(QResizeEvent *event) override;
    void focusInEvent(QFocusEvent *event) override;
    void leaveEvent(QEvent *event) override;
    void contextMenuEvent(QContextMenuEvent *event) override;
    void drawBranches(QPainter *painter, const QRect &rect, const QModelIndex &index) const override;
    void drawRow(QPainter *painter, const QStyleOptionViewItem &option,
                 const QModelIndex &index) const override;
    void paintEvent(QPaintEvent *event) override;
    void currentChanged(const QModelIndex &current, const QModelIndex &previous) override;
    void selectionChanged(const QItemSelection &selected, const QItemSelection &deselected) override;
    QItemSelectionModel::SelectionFlags selectionCommand(const QModelIndex &index,
                                                         const QEvent *event) const override;

private:
    void showExpansion();
    void showSelection();
    void showSortOrder();
    void sortBy(int section);
    void showMenuAt(const QModelIndex &index);
    void toggleIncluded(const QModelIndex &index);
    bool goToName(const QString &beginning, bool isNext);
    void expand(const TableNode &row, const QString &key);
    void leaveClosedFolders();
    void announceChange(const QString &text);
    void fitColumns();
    void keepPlace();
    void returnToPlace();

    AppModel &m_model;
    LibraryModel m_rows;
    ColumnHeader *m_header;
    NameSearch *m_search;
    bool m_isFollowing = false; // set while the view shows the model's state
    QPersistentModelIndex m_hovered;
    struct Place {
        std::filesystem::path root, current;
        int scroll = 0;
    };
    Place m_place;  // the place before the library was filled again
    QTimer m_clock; // updates the finish times of folders, which change by themselves
};

} // namespace kestrel
