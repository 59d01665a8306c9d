#pragma once

#include <QSplitter>

namespace kestrel {

// Two parts side by side, whose border the arrow keys move too.
class PanelSplitter : public QSplitter {
    Q_OBJECT

public:
    // Once.
    void setParts(QWidget *left, QWidget *right);

protected:
    QSplitterHandle *createHandle() override;
};

} // namespace kestrel
