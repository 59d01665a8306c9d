#pragma once

#include <QStyledItemDelegate>

#include "ui/table/LibraryModel.h"

namespace kestrel {

// Paints the rows of the library: two lines of text, chips, check marks and bars. All rows are equally high.
class RowDelegate : public QStyledItemDelegate {
    Q_OBJECT

public:
    explicit RowDelegate(const LibraryModel &model, QObject *parent = nullptr);

    void paint(QPainter *painter, const QStyleOptionViewItem &option,
               const QModelIndex &index) const override;
    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override;
    bool editorEvent(QEvent *event, QAbstractItemModel *model, const QStyleOptionViewItem &option,
                     const QModelIndex &index) override;
    bool helpEvent(QHelpEvent *event, QAbstractItemView *view, const QStyleOptionViewItem &option,
                   const QModelIndex &index) override;

    static int rowHeight();

signals:
    // The check mark of this row was clicked.
    void checkClicked(const QModelIndex &index);

private:
    const LibraryModel &m_model;
};

} // namespace kestrel
