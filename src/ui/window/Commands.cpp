#include "ui/window/Commands.h"

#include <algorithm>

#include "format/Fmt.h"
#include "ui/look/Icon.h"
#include "ui/look/Phrases.h"
#include "ui/look/Strings.h"
#include "ui/table/Columns.h"

namespace kestrel {

namespace {

QAction *make(QObject *parent, const QString &text, const char *icon, const QString &help,
              const QKeySequence &shortcut = {}, Theme::Tone tone = Theme::Tone::text)
{
    auto *action = new QAction(text, parent);
    if (*icon != '\0')
        action->setIcon(Icon::named(QString::fromUtf8(icon), tone));
    if (!help.isEmpty()) {
        action->setToolTip(plainTip(help));
        action->setStatusTip(help);
        action->setWhatsThis(help);
    }
    action->setShortcut(shortcut);
    return action;
}

constexpr const char *measureHelp =
    "Kodiert je Datei einige 10-Sekunden-Abschnitte mit den echten Einstellungen und misst Größe, Tempo und "
    "Qualität. Klick: 6 Dateien, Pfeil: mehr Optionen";

// Changes the action only where it differs: each change causes another layout of the toolbar.
void become(QAction *action, const QString &text, const char *icon, const char *help)
{
    if (action->text() == text && action->statusTip() == QString::fromUtf8(help))
        return;
    action->setText(text);
    action->setIcon(Icon::named(QString::fromUtf8(icon)));
    action->setToolTip(plainTip(QString::fromUtf8(help)));
    action->setStatusTip(QString::fromUtf8(help));
    action->setWhatsThis(QString::fromUtf8(help));
}

} // namespace

Commands::Commands(AppModel &model, QObject *parent)
    : QObject(parent), chooseFolder(make(this, Phrases::plain(Phrases::chooseFolder), "folder-add",
                                         qt(Wording::text(Words::chooseFolderHelp)))),
      openFolder(make(this, "&Ordner öffnen …", "folder-add", "", QKeySequence::Open)),
      rescan(make(this, "&Neu analysieren", "refresh", qt(Wording::text(Words::rescanHelp)),
                  QKeySequence(Qt::CTRL | Qt::Key_R))),
      settings(make(this, Phrases::settings, "settings", qt(Wording::text(Words::settingsHelp)),
                    QKeySequence(Qt::CTRL | Qt::Key_Comma))),
      measure(make(this, Phrases::measure, "gauge", measureHelp)),
      measure3(make(this, "&3 Dateien messen", "", "")), measure6(make(this, "&6 Dateien messen", "", "")),
      measure12(make(this, "&12 Dateien messen", "", "")),
      measureAll(make(this, "&Alle Dateien messen", "", "")),
      probeClip(
          make(this, "P&robeclip", "film",
               QStringLiteral("60 Sekunden der ausgewählten Datei mit den aktuellen Einstellungen erzeugen "
                              "– zum Testen am Fernseher (landet in %1)")
                   .arg(qt(Wording::text(Words::clipFolder))))),
      convert(make(this, "&Konvertieren", "play",
                   "Alle angehakten Dateien mit den aktuellen Einstellungen konvertieren",
                   QKeySequence(Qt::CTRL | Qt::Key_Return))),
      pause(make(this, "&Pause", "pause", "", QKeySequence(Qt::CTRL | Qt::Key_P))),
      stop(make(this, "&Stopp", "stop", "Abbrechen – die gerade bearbeiteten Dateien bleiben unverändert",
                QKeySequence(Qt::CTRL | Qt::Key_Period))),
      cancel(make(this, "A&bbrechen", "close", "Die Suche, die Messung oder den Probeclip abbrechen",
                  QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_Period))),
      showPanel(make(this, "&Seitenleiste", "panel-right", "Einstellungen neben der Tabelle zeigen",
                     QKeySequence(Qt::Key_F9))),
      showLog(make(this, "&Protokoll anzeigen", "document", "")),
      about(make(this, Phrases::about, "info", "")),
      quit(make(this, "&Beenden", "", "", QKeySequence(Qt::CTRL | Qt::Key_Q))),
      details(make(this, "&Details", "info", "", QKeySequence(Qt::CTRL | Qt::Key_I))),
      reveal(make(this, revealLabel(), "folder-open", "")), check(make(this, "&Anhaken", "check", "")),
      uncheck(make(this, "&Haken entfernen", "minus", "")),
      measureSelection(make(this, "Genau s&chätzen (nur diese)", "gauge", "")),
      checkAll(make(this, "A&lle anhaken", "", "")), uncheckAll(make(this, "Alle Haken &entfernen", "", "")),
      expandAll(make(this, "Alle &Ordner aufklappen", "chevron-down", "")),
      collapseAll(make(this, "Alle Ordner &zuklappen", "chevron-right", "")),
      sortDescending(make(this, "A&bsteigend", "", "")), m_model(model),
      m_measureMenu(std::make_unique<QMenu>())
{
    m_measureMenu->addActions({measure3, measure6, measure12, measureAll});
    showPanel->setCheckable(true);
    showPanel->setChecked(true);
    quit->setMenuRole(QAction::QuitRole);
    quit->setShortcutContext(Qt::ApplicationShortcut); // it also applies in the details and the settings
    connectActions();
    for (const auto signal : {&AppModel::toolsChanged, &AppModel::folderChanged, &AppModel::activityChanged,
                              &AppModel::runChanged})
        connect(&model, signal, this, &Commands::update);
    const Library &library = model.library();
    for (const auto signal : {&Library::filled, &Library::recomputed, &Library::selectionChanged})
        connect(&library, signal, this, &Commands::update);
    update();
}

void Commands::connectActions()
{
    const auto on = [this](QAction *action, auto reaction) {
        connect(action, &QAction::triggered, this, reaction);
    };
    on(chooseFolder, [this] { emit folderWanted(); });
    on(openFolder, [this] { emit folderWanted(); });
    on(rescan, [this] { m_model.rescan(); });
    on(settings, [this] { emit settingsWanted(); });
    on(showLog, [this] { emit logWanted(); });
    on(about, [this] { emit aboutWanted(); });
    on(measure, [this] {
        if (m_model.activity().kind == Activity::Kind::sampling)
            m_model.stop();
        else
            m_model.startSampling(6, std::nullopt);
    });
    on(measure3, [this] { m_model.startSampling(3, std::nullopt); });
    on(measure6, [this] { m_model.startSampling(6, std::nullopt); });
    on(measure12, [this] { m_model.startSampling(12, std::nullopt); });
    on(measureAll, [this] { m_model.startSampling(std::nullopt, std::nullopt); });
    on(measureSelection, [this] { m_model.startSampling(std::nullopt, m_model.library().selection()); });
    on(probeClip, [this] { m_model.makeProbeClip(); });
    on(convert, [this] { m_model.startConversion(); });
    on(pause, [this] { m_model.togglePause(); });
    on(stop, [this] { m_model.stop(); });
    on(cancel, [this] { m_model.stop(); });
    on(details, [this] {
        if (FileItem *item = m_model.library().selectedItem())
            m_model.library().setDetailItem(item);
    });
    on(reveal, [this] {
        if (const auto path = selectedPath())
            emit revealWanted(*path);
    });
    const auto include = [this](bool value) {
        m_model.library().setIncluded(m_model.library().selection(), value);
    };
    on(check, [include] { include(true); });
    on(uncheck, [include] { include(false); });
    const auto includeAll = [this](bool value) {
        Library::Ids rows;
        for (const auto &child : m_model.library().root().children)
            rows.insert(child->id);
        m_model.library().setIncluded(rows, value);
    };
    on(checkAll, [includeAll] { includeAll(true); });
    on(uncheckAll, [includeAll] { includeAll(false); });
    for (const Columns::Column &column : Columns::all)
        if (const auto by = column.sortedBy) {
            QAction *action = make(this, QString::fromUtf8(column.title), "", "");
            action->setCheckable(true);
            action->setData(static_cast<int>(*by));
            on(action, [this, by] {
                m_model.library().setSortOrder(sortedFirst(m_model.library().sortOrder(), usual(*by)));
                showSortOrder();
            });
            m_sortActions.append(action);
        }
    sortDescending->setCheckable(true);
    on(sortDescending, [this](bool isDescending) {
        SortOrder order = m_model.library().sortOrder();
        if (!order.empty())
            order.front().isAscending = !isDescending;
        m_model.library().setSortOrder(order);
    });
    connect(&m_model.library(), &Library::sorted, this, &Commands::showSortOrder);
    showSortOrder();
    on(expandAll, [this] { m_model.library().expandAll(true); });
    on(collapseAll, [this] { m_model.library().expandAll(false); });
}

std::optional<std::filesystem::path> Commands::selectedPath() const
{
    const Library &library = m_model.library();
    if (library.selection().size() != 1)
        return std::nullopt;
    const FileItem *item = library.selectedItem();
    if (item == nullptr)
        return *library.selection().begin();
    return item->resultURL.value_or(item->url);
}

void Commands::showSortOrder()
{
    const SortOrder &order = m_model.library().sortOrder();
    const RowComparator first = order.empty() ? byName.front() : order.front();
    for (QAction *action : m_sortActions)
        action->setChecked(action->data().toInt() == static_cast<int>(first.column));
    sortDescending->setChecked(!first.isAscending);
}

void Commands::update()
{
    using Kind = Activity::Kind;
    const Activity &activity = m_model.activity();
    const Library &library = m_model.library();
    const bool isIdle = !m_model.isBusy();
    const bool hasTools = m_model.tools().has_value();
    const bool hasFiles = !library.items().empty();
    const bool hasSelection = !library.selection().empty();
    const bool canWork = isIdle && hasTools && hasFiles;

    chooseFolder->setEnabled(isIdle && hasTools);
    rescan->setEnabled(isIdle && hasTools && m_model.rootURL());
    const bool isMeasuring = activity.kind == Kind::sampling;
    measure->setEnabled(canWork || (isMeasuring && !m_model.isStopping()));
    become(measure,
           isMeasuring ? QStringLiteral("S&tichproben stoppen (%1/%2)").arg(activity.done).arg(activity.total)
                       : Phrases::measure,
           isMeasuring ? "stop-circle" : "gauge",
           isMeasuring ? "Messung beenden – bisherige Stichproben bleiben erhalten" : measureHelp);
    for (QAction *action : {measure3, measure6, measure12, measureAll})
        action->setEnabled(canWork);
    measureSelection->setEnabled(canWork && hasSelection);

    const FileItem *item = library.selectedItem();
    probeClip->setEnabled(canWork && item != nullptr && item->info && item->plan);
    probeClip->setText(activity.kind == Kind::probeClip
                           ? QStringLiteral("Probeclip ") + qt(Fmt::percent(activity.progress))
                           : QStringLiteral("P&robeclip"));

    const bool isConverting = activity.kind == Kind::converting;
    convert->setVisible(!isConverting);
    const bool hasChosen = std::any_of(library.items().begin(), library.items().end(), [](const auto &file) {
        return file->included && file->isChoosable();
    });
    convert->setEnabled(canWork && hasChosen);
    pause->setVisible(isConverting);
    stop->setVisible(isConverting);
    pause->setEnabled(!m_model.isStopping());
    stop->setEnabled(!m_model.isStopping());
    cancel->setEnabled((activity.kind == Kind::scanning || activity.kind == Kind::probeClip || isMeasuring) &&
                       !m_model.isStopping());
    const bool isPaused = m_model.isPaused();
    become(pause, isPaused ? QStringLiteral("&Fortsetzen") : QStringLiteral("&Pause"),
           isPaused ? "play" : "pause",
           isPaused ? "Konvertierung fortsetzen"
                    : "Konvertierung anhalten (ffmpeg wird eingefroren, nichts geht verloren)");

    details->setEnabled(item != nullptr);
    reveal->setEnabled(library.selection().size() == 1);
    check->setEnabled(hasSelection);
    uncheck->setEnabled(hasSelection);
    for (QAction *action : {checkAll, uncheckAll, expandAll, collapseAll})
        action->setEnabled(hasFiles);
}

} // namespace kestrel
