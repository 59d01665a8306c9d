#pragma once

#include <QHeaderView>
#include <array>

#include "ui/table/LibraryModel.h"

namespace kestrel {

// Shows the heads of the columns, and determines the columns' widths. The keyboard reaches them too: left and
// right move between them, with Shift they make the column narrower and wider, space and return sort by it.
class ColumnHeader : public QHeaderView {
    Q_OBJECT

public:
    // REQUIRES: the rows outlive it.
    explicit ColumnHeader(LibraryModel &rows, QWidget *parent = nullptr);

    // Returns the head that receives the keys.
    int current() const { return m_current; }
    // Divides this width, in pixels, among the columns. An empty Status column is narrow.
    void fit(int width, bool hasStatus);
    // Returns the widths that the user chose, for storage.
    QByteArray chosenWidths() const;
    void restoreWidths(const QByteArray &state);

signals:
    // fit() must be called again. Emitted when a dragged edge is released, not during the drag.
    void widthsChosen();

protected:
    void keyPressEvent(QKeyEvent *event) override;
    void focusInEvent(QFocusEvent *event) override;
    void focusOutEvent(QFocusEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void paintSection(QPainter *painter, const QRect &rect, int section) const override;

private:
    void goTo(int section);
    void widen(int step);
    bool hasRoomForTitle(int section, int width) const;

    LibraryModel &m_rows;
    std::array<int, Columns::count> m_chosen{}; // widths that the user chose; 0 where none was chosen
    bool m_isFitting = false;
    int m_current = Columns::name; // the column that has the keyboard's focus while the header has it
};

} // namespace kestrel
