#pragma once

#include <QMainWindow>
#include <QPointer>
#include <QStackedWidget>
#include <array>
#include <optional>

#include "platform/FolderCheck.h"
#include "ui/detail/DetailSheet.h"
#include "ui/look/Parts.h"
#include "ui/settings/SettingsWindow.h"
#include "ui/window/ClosedFolders.h"
#include "ui/window/Commands.h"
#include "ui/window/EmptyView.h"
#include "ui/window/LibraryPage.h"
#include "ui/window/QuitGuard.h"
#include "ui/window/ToolsMissingView.h"
#include "ui/window/WindowState.h"

namespace kestrel {

// There is only one main window. REQUIRES: the main thread; the model outlives it.
class MainWindow : public QMainWindow {
    Q_OBJECT

public:
    MainWindow(AppModel &model, std::filesystem::path stateFile, QWidget *parent = nullptr);
    ~MainWindow() override;

    Commands &commands() { return m_commands; }
    LibraryView &table() { return m_page->table(); }
    QuitGuard &quitGuard() { return m_guard; }
    void chooseFolder();
    void showSettings();
    // Returns the window with the switches of the computer, while it is open.
    SettingsWindow *settingsWindow() const { return m_settings; }
    DetailSheet *detailSheet() const { return m_details; }

signals:
    void closed(); // the window was closed for good

protected:
    void closeEvent(QCloseEvent *event) override;
    void dragEnterEvent(QDragEnterEvent *event) override;
    void dragLeaveEvent(QDragLeaveEvent *event) override;
    void dropEvent(QDropEvent *event) override;

private:
    void makeMenus();
    void makeToolBar();
    void keepFocusOnRun(const QToolBar &bar);
    void giveFocusBack();
    void connectAll();
    void showPage();
    void checkLastFolder();
    void showDetails();
    void showTableMenu(const QPoint &globalPosition, bool isByKey);
    void showAbout();
    void saveState();
    void restoreState();
    void open(const std::filesystem::path &folder);
    void reveal(const std::filesystem::path &file);
    void showLog();
    void inform(const QString &text, const QString &more);

    AppModel &m_model;
    WindowState m_state;
    ClosedFolders m_closedFolders;
    Commands m_commands;
    QuitGuard m_guard;
    QStackedWidget *m_pages;
    EmptyView *m_empty;
    LibraryPage *m_page;
    ToolsMissingView *m_toolsMissing;
    std::optional<FolderCheck> m_lastFolderCheck;
    std::optional<std::filesystem::path> m_reachable; // the last folder, once it is known to exist
    std::array<QWidget *, 3> m_runButtons{};          // in the toolbar
    QPointer<QWidget> m_givesFocusBack; // the widget that got the focus because one of them was disabled
    QPointer<SettingsWindow> m_settings;
    QPointer<DetailSheet> m_details;
};

} // namespace kestrel
