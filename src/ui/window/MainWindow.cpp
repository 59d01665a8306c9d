#include "ui/window/MainWindow.h"

#include <QApplication>
#include <QCloseEvent>
#include <QMenuBar>
#include <QMessageBox>
#include <QMimeData>
#include <QScreen>
#include <QToolBar>
#include <QToolButton>
#include <algorithm>

#include "media/Log.h"
#include "platform/FileManager.h"
#include "ui/look/Icon.h"
#include "ui/look/Phrases.h"
#include "ui/look/Strings.h"
#include "ui/window/FolderDialog.h"

namespace kestrel {

namespace {

constexpr const char *subtitle = "Videos verkleinern ohne sichtbaren Qualitätsverlust";

std::optional<std::filesystem::path> droppedFolder(const QMimeData &data)
{
    for (const QUrl &url : data.urls()) {
        if (!url.isLocalFile())
            continue;
        // The path is decoded to exact bytes: QUrl would treat names as UTF-8.
        const QByteArray path = QByteArray::fromPercentEncoding(url.path(QUrl::FullyEncoded).toUtf8());
        const std::filesystem::path folder(path.toStdString());
        std::error_code error;
        return std::filesystem::is_directory(folder, error) ? std::optional(folder) : std::nullopt;
    }
    return std::nullopt;
}

// The source may delete what is dropped as "move".
void acceptAsCopy(QDropEvent &event)
{
    event.setDropAction(Qt::CopyAction);
    event.accept();
}

} // namespace

MainWindow::MainWindow(AppModel &model, std::filesystem::path stateFile, QWidget *parent)
    : QMainWindow(parent), m_model(model), m_state(std::move(stateFile)),
      m_closedFolders(model.library(), m_state), m_commands(model), m_guard(model),
      m_pages(new QStackedWidget), m_empty(new EmptyView(model)), m_page(new LibraryPage(model)),
      m_toolsMissing(new ToolsMissingView(model))
{
    setWindowTitle(QStringLiteral("Kestrel – ") + QString::fromUtf8(subtitle));
    setAcceptDrops(true);
    makeMenus();
    makeToolBar();
    m_pages->addWidget(m_toolsMissing);
    m_pages->addWidget(m_empty);
    m_pages->addWidget(m_page);
    setCentralWidget(m_pages);
    const QSize usual(Theme::em(76), Theme::em(49));
    resize(screen() != nullptr ? usual.boundedTo(screen()->availableSize() * 0.95) : usual);
    connectAll();
    restoreState();
    showPage();
    checkLastFolder();
}

MainWindow::~MainWindow()
{
    disconnect(qApp, nullptr, this, nullptr); // the focus still changes while its widgets are destroyed
}

void MainWindow::makeMenus()
{
    const Commands &can = m_commands;
    QMenu *file = menuBar()->addMenu(QStringLiteral("&Datei"));
    file->addAction(can.openFolder);
    file->addAction(can.rescan);
    file->addSeparator();
    file->addAction(can.settings);
    file->addAction(can.showLog);
    file->addSeparator();
    file->addAction(can.quit);

    QMenu *selection = menuBar()->addMenu(QStringLiteral("&Auswahl"));
    selection->addActions({can.details, can.reveal});
    selection->addSeparator();
    selection->addActions({can.check, can.uncheck, can.checkAll, can.uncheckAll});
    selection->addSeparator();
    selection->addActions({can.expandAll, can.collapseAll});

    QMenu *work = menuBar()->addMenu(QStringLiteral("&Konvertierung"));
    work->addActions({can.convert, can.pause, can.stop, can.cancel});
    work->addSeparator();
    work->addAction(can.measure);
    work->addActions({can.measure3, can.measure6, can.measure12, can.measureAll, can.measureSelection});
    work->addSeparator();
    work->addAction(can.probeClip);

    QMenu *view = menuBar()->addMenu(QStringLiteral("A&nsicht"));
    view->addAction(can.showPanel);
    view->addSeparator();
    QMenu *sort = view->addMenu(QStringLiteral("S&ortieren nach"));
    sort->addActions(can.sortActions());
    sort->addSeparator();
    sort->addAction(can.sortDescending);
    QMenu *help = menuBar()->addMenu(QStringLiteral("&Hilfe"));
    help->addAction(can.about);
}

void MainWindow::makeToolBar()
{
    auto *bar = addToolBar(QStringLiteral("Werkzeuge"));
    bar->setObjectName(QStringLiteral("tools"));
    bar->setMovable(false);
    bar->setContextMenuPolicy(Qt::PreventContextMenu);
    bar->setToolButtonStyle(Qt::ToolButtonTextUnderIcon);
    bar->setFont(Theme::font(Theme::Size::caption));
    const Commands &can = m_commands;
    bar->addActions({can.chooseFolder, can.rescan, can.settings});
    bar->addSeparator();
    bar->addActions({can.measure, can.probeClip});
    bar->addSeparator();
    bar->addActions({can.convert, can.pause, can.stop});
    auto *space = new QWidget;
    space->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    bar->addWidget(space);
    bar->addAction(can.showPanel);
    for (QAction *action : bar->actions())
        if (auto *button = qobject_cast<QToolButton *>(bar->widgetForAction(action))) {
            button->setFocusPolicy(Qt::TabFocus);
            button->setFont(Theme::font(Theme::Size::caption));
            button->setMinimumWidth(Theme::em(4.6));
            button->setProperty("primary", action == can.convert);
            // Otherwise Qt would use the tool tip, with its markup.
            const auto describe = [action, button] { button->setAccessibleDescription(action->statusTip()); };
            connect(action, &QAction::changed, button, describe);
            describe();
            if (action == can.measure) {
                button->setMenu(can.measureMenu());
                button->setPopupMode(QToolButton::MenuButtonPopup);
            }
        }
    keepFocusOnRun(*bar);
}

// Keeps the focus on a run's buttons, which are hidden and disabled one after the other.
void MainWindow::keepFocusOnRun(const QToolBar &bar)
{
    m_runButtons = {bar.widgetForAction(m_commands.pause), bar.widgetForAction(m_commands.convert),
                    bar.widgetForAction(m_commands.stop)};
    connect(qApp, &QApplication::focusChanged, this, [this](QWidget *old, QWidget *now) {
        const bool isOfRun = std::find(m_runButtons.begin(), m_runButtons.end(), old) != m_runButtons.end();
        const bool wasTaken = isOfRun && (old->isHidden() || !old->isEnabled());
        m_givesFocusBack = wasTaken ? now : nullptr;
        if (wasTaken)
            QMetaObject::invokeMethod(this, &MainWindow::giveFocusBack, Qt::QueuedConnection);
    });
    connect(&m_model, &AppModel::activityChanged, this, &MainWindow::giveFocusBack, Qt::QueuedConnection);
}

void MainWindow::giveFocusBack()
{
    if (m_givesFocusBack == nullptr || m_givesFocusBack != QApplication::focusWidget())
        return;
    for (QWidget *button : m_runButtons)
        if (!button->isHidden() && button->isEnabled())
            return button->setFocus(Qt::OtherFocusReason);
}

void MainWindow::connectAll()
{
    connect(m_empty, &EmptyView::folderWanted, this, &MainWindow::chooseFolder);
    connect(m_empty, &EmptyView::lastFolderWanted, this, &MainWindow::open);
    connect(&m_commands, &Commands::folderWanted, this, &MainWindow::chooseFolder);
    connect(&m_commands, &Commands::settingsWanted, this, &MainWindow::showSettings);
    connect(&m_commands, &Commands::logWanted, this, &MainWindow::showLog);
    connect(&m_commands, &Commands::aboutWanted, this, &MainWindow::showAbout);
    connect(&m_commands, &Commands::revealWanted, this, &MainWindow::reveal);
    connect(m_commands.quit, &QAction::triggered, this, &MainWindow::close);
    connect(m_commands.showPanel, &QAction::toggled, m_page, &LibraryPage::showPanel);
    connect(m_page, &LibraryPage::panelShown, m_commands.showPanel, &QAction::setChecked);
    connect(&m_guard, &QuitGuard::quit, this, &MainWindow::close);
    connect(&table(), &LibraryView::detailsRequested, this,
            [this](const auto &file) { m_model.library().setDetailItem(m_model.library().find(file)); });
    connect(&table(), &LibraryView::detailsRequested, this, &MainWindow::showDetails);
    connect(m_commands.details, &QAction::triggered, this, &MainWindow::showDetails);
    connect(&table(), &LibraryView::menuRequested, this, &MainWindow::showTableMenu);
    connect(&m_model, &AppModel::toolsChanged, this, &MainWindow::showPage);
    connect(&m_model, &AppModel::folderChanged, this, &MainWindow::checkLastFolder);
    connect(&m_model, &AppModel::folderChanged, this, &MainWindow::showPage);
    connect(&m_model, &AppModel::clipMade, this, &MainWindow::reveal);
    connect(&m_model.library(), &Library::detailItemChanged, this, &MainWindow::showDetails);
}

void MainWindow::inform(const QString &text, const QString &more)
{
    auto *box = new QMessageBox(QMessageBox::NoIcon, QStringLiteral("Kestrel"), text, QMessageBox::Ok, this);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setTextFormat(Qt::PlainText);
    box->setInformativeText(more);
    makeHeadline(*box);
    box->open();
}

void MainWindow::reveal(const std::filesystem::path &file)
{
    FileManager::reveal(file, [window = QPointer(this), file](bool isTaken) {
        if (window != nullptr && !isTaken)
            window->inform(QStringLiteral("Es ließ sich kein Dateimanager öffnen"), shown(file));
    });
}

void MainWindow::showLog()
{
    Log::write("Protokoll angezeigt");
    Log::flush();
    FileManager::open(Log::file(), [window = QPointer(this)](bool isTaken) {
        if (window != nullptr && !isTaken)
            window->inform(QStringLiteral("Das Protokoll ließ sich nicht öffnen"), shown(Log::file()));
    });
}

void MainWindow::showPage()
{
    if (m_model.toolError())
        m_pages->setCurrentWidget(m_toolsMissing);
    else if (!m_model.rootURL())
        m_pages->setCurrentWidget(m_empty);
    else if (m_pages->currentWidget() != m_page) {
        m_pages->setCurrentWidget(m_page);
        table().setFocus();
    }
    m_commands.showPanel->setEnabled(m_pages->currentWidget() == m_page);
}

void MainWindow::checkLastFolder()
{
    const auto last = m_model.lastFolder();
    if (!last)
        return;
    m_lastFolderCheck.emplace(*last, [this, last] {
        m_reachable = *last;
        m_empty->offer(*last);
    });
}

void MainWindow::open(const std::filesystem::path &folder)
{
    if (m_model.toolError())
        return inform(Phrases::toolsMissing, qt(Text::repaired(*m_model.toolError())));
    if (m_model.isBusy())
        return inform(
            Phrases::stillWorking,
            QStringLiteral(
                "Ein anderer Ordner kann geöffnet werden, sobald die Arbeit beendet oder gestoppt ist."));
    m_model.open(folder);
}

void MainWindow::chooseFolder()
{
    auto *dialog =
        new FolderDialog(m_reachable ? QFile::decodeName(m_reachable->c_str()) : QDir::homePath(), this);
    connect(dialog, &FolderDialog::chosen, this, [this](const std::filesystem::path &folder) {
        // This runs after the dialog has closed and released the focus.
        QMetaObject::invokeMethod(
            this,
            [this, folder] {
                activateWindow();
                open(folder);
                if (table().isVisible())
                    table().setFocus();
            },
            Qt::QueuedConnection);
    });
    dialog->open();
}

void MainWindow::showSettings()
{
    if (m_settings == nullptr) {
        m_settings = new SettingsWindow(m_model, this);
        m_settings->setAttribute(Qt::WA_DeleteOnClose);
        connect(m_settings, &SettingsWindow::revealRequested, this, &MainWindow::reveal);
    }
    m_settings->show();
    m_settings->raise();
    m_settings->activateWindow();
}

void MainWindow::showDetails()
{
    if (m_model.library().detailItem() == nullptr)
        return;
    if (m_details == nullptr) {
        m_details = new DetailSheet(m_model, this);
        m_details->setAttribute(Qt::WA_DeleteOnClose);
        connect(m_details, &DetailSheet::revealRequested, this, &MainWindow::reveal);
        connect(m_details, &DetailSheet::measureRequested, this, [this] {
            if (const FileItem *item = m_model.library().detailItem())
                m_model.startSampling(std::nullopt, Library::Ids{item->id});
        });
    }
    m_details->show();
    m_details->raise();
    m_details->activateWindow();
}

void MainWindow::showTableMenu(const QPoint &globalPosition, bool isByKey)
{
    const Commands &can = m_commands;
    auto *menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->addActions({can.details, can.reveal});
    menu->addSeparator();
    menu->addActions({can.check, can.uncheck, can.checkAll, can.uncheckAll});
    menu->addSeparator();
    menu->addAction(can.measureSelection);
    menu->addSeparator();
    menu->addActions({can.expandAll, can.collapseAll});
    menu->popup(globalPosition);
    if (isByKey)
        menu->setActiveAction(can.details->isEnabled() ? can.details : can.reveal);
}

void MainWindow::showAbout()
{
    auto *box = new QMessageBox(this);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setWindowTitle(Phrases::plain(Phrases::about));
    box->setIconPixmap(windowIcon().pixmap(Theme::em(4)));
    box->setText(QStringLiteral("Kestrel %1").arg(QCoreApplication::applicationVersion()));
    makeHeadline(*box);
    box->setInformativeText(QString::fromUtf8(subtitle));
    box->addButton(QMessageBox::Close)->setText(QStringLiteral("Schließen"));
    box->open();
}

void MainWindow::closeEvent(QCloseEvent *event)
{
    if (!m_guard.mayQuit(this)) {
        event->ignore();
        return;
    }
    saveState();
    event->accept();
    emit closed();
}

void MainWindow::saveState()
{
    m_state.setValue("geometry", saveGeometry());
    m_state.setValue("splitter", m_page->saveState());
    m_state.setValue("columns", table().columns().chosenWidths());
    m_state.setValue("panel", m_page->isPanelBeside() ? "1" : "0");
    m_closedFolders.save();
}

void MainWindow::restoreState()
{
    restoreGeometry(m_state.value("geometry"));
    m_page->restoreState(m_state.value("splitter"), m_state.value("panel") != "0");
    table().columns().restoreWidths(m_state.value("columns"));
}

void MainWindow::dragEnterEvent(QDragEnterEvent *event)
{
    if (!m_model.tools() || m_model.isBusy() || !droppedFolder(*event->mimeData()))
        return;
    acceptAsCopy(*event);
    m_empty->setDropTarget(true);
}

void MainWindow::dragLeaveEvent(QDragLeaveEvent *)
{
    m_empty->setDropTarget(false);
}

void MainWindow::dropEvent(QDropEvent *event)
{
    m_empty->setDropTarget(false);
    if (const auto folder = droppedFolder(*event->mimeData())) {
        acceptAsCopy(*event);
        open(*folder);
    }
}

} // namespace kestrel
