#pragma once

#include "ui/look/Parts.h"
#include "ui/table/LibraryView.h"
#include "ui/window/PanelSplitter.h"

namespace kestrel {

// An open folder: its table with everything that is said about it, and the settings. These stand beside the
// table where the window is wide enough, and lie over it when they are asked for where it is not.
class LibraryPage : public QWidget {
    Q_OBJECT

public:
    explicit LibraryPage(AppModel &model);

    LibraryView &table() { return *m_table; }
    void showPanel(bool isShown);
    bool isPanelShown() const { return m_isNarrow ? m_isOverTable : m_isBeside; }

    // The state to remember: whether the settings stand beside the table, and how wide.
    bool isPanelBeside() const { return m_isBeside; }
    QByteArray saveState() const { return m_isNarrow ? m_wideState : m_splitter->saveState(); }
    void restoreState(const QByteArray &state, bool isPanelBeside);

signals:
    // Emitted when the page itself showed or hid the panel: the window's width changed, or Esc closed it.
    void panelShown(bool isShown);

protected:
    void resizeEvent(QResizeEvent *event) override;

private:
    QWidget *makeColumn();
    void showFolder();
    void setNarrow(bool isNarrow);
    void restoreWidths();
    void placePanel();

    AppModel &m_model;
    ElidedLabel *m_folder, *m_location;
    LibraryView *m_table;
    QWidget *m_panel;
    PanelSplitter *m_splitter;
    QWidget *m_drawer; // holds the panel over the table
    bool m_isNarrow = false;
    bool m_isBeside = true, m_isOverTable = false; // the panel, in a wide and in a narrow window
    QByteArray m_wideState;                        // of the splitter, while it has no panel
};

} // namespace kestrel
