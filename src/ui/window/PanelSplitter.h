#pragma once

#include <QSplitter>

namespace kestrel {

// Shows two parts side by side; the arrow keys move the border too.
class PanelSplitter : public QSplitter {
    Q_OBJECT

public:
    // Adds the parts, with which a splitter creates its handle: its constructor could not create a derived
    // one. REQUIRES: this is called once.
    void setParts(QWidget *left, QWidget *right);

protected:
    QSplitterHandle *createHandle() override;
};

} // namespace kestrel
