#pragma once

#include <QTreeView>
#include <array>
#include <optional>

#include "ui/table/LibraryModel.h"

class QMenu;

namespace kestrel {

// The table of the library. Selection, open folders and sort order are the model's; so every other front sees
// the same.
class LibraryView : public QTreeView {
    Q_OBJECT

public:
    explicit LibraryView(AppModel &model, QWidget *parent = nullptr);

    const LibraryModel &rows() const { return m_rows; }
    // Column widths, to be remembered.
    QByteArray columnState() const;
    void restoreColumns(const QByteArray &state);

signals:
    // Return or a double click on a file.
    void detailsRequested(const std::filesystem::path &file);
    void menuRequested(const QPoint &globalPosition);

protected:
    void keyPressEvent(QKeyEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void leaveEvent(QEvent *event) override;
    void contextMenuEvent(QContextMenuEvent *event) override;
    void drawBranches(QPainter *painter, const QRect &rect, const QModelIndex &index) const override;
    void drawRow(QPainter *painter, const QStyleOptionViewItem &option,
                 const QModelIndex &index) const override;
    void paintEvent(QPaintEvent *event) override;
    void selectionChanged(const QItemSelection &selected, const QItemSelection &deselected) override;

private:
    void showExpansion();
    void showSelection();
    void showSortOrder();
    void sortBy(int section);
    void showMenuAt(const QModelIndex &index);
    void toggleIncluded(const QModelIndex &index);
    void fitColumns();
    void keepPlace();
    void returnToPlace();

    AppModel &m_model;
    LibraryModel m_rows;
    bool m_isFollowing = false; // what the model says is being shown
    bool m_isFitting = false;
    QPersistentModelIndex m_hovered;
    struct Place {
        std::filesystem::path root, current;
        int scroll = 0;
    };
    Place m_place;                                     // before the library was filled anew
    std::array<int, LibraryModel::columns> m_chosen{}; // widths, by the user; 0 where none was
    QTimer m_clock; // the times at which folders will be done change by themselves
};

} // namespace kestrel
