#pragma once

#include <QPushButton>

#include "model/AppModel.h"
#include "ui/look/Parts.h"

namespace kestrel {

// Fills the window before a folder is open: says what to do, and what will happen then.
class EmptyView : public QWidget {
    Q_OBJECT

public:
    explicit EmptyView(AppModel &model, QWidget *parent = nullptr);

    // Highlights the page while something that can be opened hovers over the window.
    void setDropTarget(bool isTarget);
    // Offers to open this folder again.
    void offer(const std::filesystem::path &folder);

signals:
    void folderWanted();
    void lastFolderWanted(const std::filesystem::path &folder);

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    void update();

    AppModel &m_model;
    Label *m_searching;
    QPushButton *m_choose, *m_last;
    std::optional<std::filesystem::path> m_offered;
    bool m_isDropTarget = false;
};

} // namespace kestrel
