#pragma once

#include "ui/look/Parts.h"
#include "ui/table/LibraryView.h"
#include "ui/window/PanelSplitter.h"

namespace kestrel {

// Shows an open folder: its table with everything that belongs to it, and the settings. These stand beside
// the table where the window is wide enough; where it is not, they cover the table on request.
class LibraryPage : public QWidget {
    Q_OBJECT

public:
    explicit LibraryPage(AppModel &model);

    LibraryView &table() { return *m_table; }
    void showPanel(bool isShown);
    bool isPanelShown() const { return m_isNarrow ? m_isOverTable : m_isBeside; }

    // Return the state to store: whether the settings stand beside the table, and their width.
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
    bool m_isBeside = true, m_isOverTable = false; // the panel is shown, in a wide and in a narrow window
    QByteArray m_wideState;                        // the splitter's, while it has no panel
};

} // namespace kestrel
