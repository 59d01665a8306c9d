#pragma once

#include "ui/look/Parts.h"
#include "ui/table/LibraryView.h"
#include "ui/window/PanelSplitter.h"

namespace kestrel {

// An open folder: its table with everything that is said about it, and the settings beside it.
class LibraryPage : public PanelSplitter {
    Q_OBJECT

public:
    explicit LibraryPage(AppModel &model);

    LibraryView &table() { return *m_table; }
    QWidget &panel() { return *m_panel; }

private:
    void showFolder();

    AppModel &m_model;
    ElidedLabel *m_folder, *m_location;
    LibraryView *m_table;
    QWidget *m_panel;
};

} // namespace kestrel
