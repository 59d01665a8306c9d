#pragma once

#include <QSplitter>

namespace kestrel {

// Two parts side by side; the arrow keys move the border too.
class PanelSplitter : public QSplitter {
    Q_OBJECT

public:
    // REQUIRES: called once. A splitter makes its handle with its parts, and no derived one in its
    // constructor.
    void setParts(QWidget *left, QWidget *right);

protected:
    QSplitterHandle *createHandle() override;
};

} // namespace kestrel
