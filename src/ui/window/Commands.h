#pragma once

#include <QAction>
#include <QMenu>
#include <QObject>
#include <filesystem>
#include <memory>

#include "model/AppModel.h"

namespace kestrel {

// Holds all actions of the window, with text, help, shortcut, and when they are enabled. Toolbar, menus and
// the table's menu show the same actions.
class Commands : public QObject {
    Q_OBJECT

public:
    explicit Commands(AppModel &model, QObject *parent = nullptr);

    QAction *const chooseFolder; // in the toolbar; disabled while work runs
    QAction *const openFolder;   // in the menu
    QAction *const rescan;
    QAction *const settings;
    QAction *const measure; // stops the measurement while one runs
    QAction *const measure3, *const measure6, *const measure12, *const measureAll;
    QAction *const probeClip;
    QAction *const convert;
    QAction *const pause; // pauses or resumes
    QAction *const stop;
    QAction *const cancel; // for a search or a clip; in the menu
    QAction *const showPanel;
    QAction *const showLog;
    QAction *const about;
    QAction *const quit;

    // These apply to the selected rows.
    QAction *const details;
    QAction *const reveal;
    QAction *const check, *const uncheck;
    QAction *const measureSelection;

    // These apply to all rows.
    QAction *const checkAll, *const uncheckAll;
    QAction *const expandAll, *const collapseAll;
    QAction *const sortDescending;

    // Returns one action for each column that sorts, in their order.
    const QList<QAction *> &sortActions() const { return m_sortActions; }
    QMenu *measureMenu() const { return m_measureMenu.get(); }
    // Returns the path of the one selected row; absent when none or several are.
    std::optional<std::filesystem::path> selectedPath() const;

signals:
    void folderWanted();
    void settingsWanted();
    void logWanted();
    void aboutWanted();
    void revealWanted(const std::filesystem::path &path);

public slots:
    void update();

private:
    void connectActions();
    void showSortOrder();

    AppModel &m_model;
    std::unique_ptr<QMenu> m_measureMenu;
    QList<QAction *> m_sortActions;
};

} // namespace kestrel
