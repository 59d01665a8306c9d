#pragma once

#include <QSplitter>

namespace kestrel {

// Two parts side by side, whose border the arrow keys move too.
class PanelSplitter : public QSplitter {
    Q_OBJECT

public:
    // Once; a splitter makes its handle with its parts, and no derived one in its constructor.
    void setParts(QWidget *left, QWidget *right);

protected:
    QSplitterHandle *createHandle() override;
};

} // namespace kestrel
