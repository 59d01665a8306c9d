#pragma once

#include <QHeaderView>

namespace kestrel {

// The heads of the columns, which the keyboard reaches too: left and right go from one to the next, with
// Shift they make the column narrower and wider, space and return sort by it.
class ColumnHeader : public QHeaderView {
    Q_OBJECT

public:
    explicit ColumnHeader(QWidget *parent = nullptr);

signals:
    // By mouse or keyboard; not while an edge is being dragged, but when it is let go.
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

    int m_current = 1; // has the keyboard's focus while the header has it
};

} // namespace kestrel
