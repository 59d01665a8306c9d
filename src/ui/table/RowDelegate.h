#pragma once

#include <QStyledItemDelegate>

#include "ui/table/LibraryModel.h"

namespace kestrel {

// Paints the rows of the library: two lines of text, chips, check marks and bars. All rows have the same
// height.
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
    // Holds a name in one line or, where that is too short, in two; what does not fit into two is cut from
    // the middle of the second: the episode is nearer to the beginning. The second leaves so many pixels free
    // at its end.
    struct NameLines {
        QString first, second;
    };
    static NameLines nameLines(const QString &name, const QFontMetrics &metrics, int width, int tail);

signals:
    // Emitted when the check mark of this row was clicked.
    void checkClicked(const QModelIndex &index);

private:
    const LibraryModel &m_model;
};

} // namespace kestrel
