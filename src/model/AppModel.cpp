#include "model/AppModel.h"

#include <algorithm>
#include <exception>
#include <utility>

#include <fmt/format.h>

#include "encoding/ConversionJob.h"
#include "encoding/SwapJournal.h"
#include "encoding/UnfinishedSwaps.h"
#include "media/Log.h"
#include "model/FolderScan.h"
#include "model/Sentences.h"
#include "platform/Cancelled.h"
#include "platform/ErrorText.h"
#include "platform/OnExit.h"
#include "platform/TemporaryFolder.h"
#include "platform/Text.h"

namespace kestrel {

namespace {

constexpr std::chrono::seconds growingAge{90}; // younger files may still be being copied

// Returns the names of the first few, one on each line.
std::string hiddenNames(const std::vector<HiddenOriginal> &hidden)
{
    constexpr std::size_t most = 3;
    std::string text;
    for (std::size_t i = 0; i < std::min(most, hidden.size()); ++i)
        text += (i > 0 ? "\n" : "") + hidden[i].title();
    if (hidden.size() > most)
        text += hidden.size() == most + 1 ? "\n… und ein weiterer."
                                          : fmt::format("\n… und {} weitere.", hidden.size() - most);
    return text;
}

} // namespace

struct AppModel::Located {
    std::optional<Tools> tools;
    std::string error;
    std::unique_ptr<InstanceLock> lock;
    std::vector<std::string> messages; // about repaired and finished swaps
    std::vector<HiddenOriginal> pendingSwaps;
};

AppModel::AppModel(Options options)
    : m_options(std::move(options)),
      m_settings(m_options.settings ? *m_options.settings
                                    : m_options.store.settings().value_or(ConversionSettings())),
      m_measuresQuality(m_options.measuresQuality ? *m_options.measuresQuality
                                                  : m_options.store.measuresQuality().value_or(true)),
      m_sleepInhibitor([] {
          Log::write("Der Ruhezustand lässt sich hier nicht verhindern: Kein Dienst dafür antwortet.");
      })
{
    connect(&m_statusService, &StatusService::changed, this, &AppModel::statusServerChanged);
    applyStatusServer();
    loadTools();
}

AppModel::~AppModel() = default;

void AppModel::loadTools()
{
    m_locator = std::jthread([this](const std::stop_token &stop) {
        Located located;
        try {
            located.tools = m_options.toolFolders.empty() ? Tools::locate(stop)
                                                          : Tools::locate(m_options.toolFolders, stop);
            if (m_options.changesFiles) {
                located.lock = std::make_unique<InstanceLock>(stop);
                const auto share = onExit([&] { located.lock->share(); });
                if (located.lock->isAlone()) {
                    ConversionJob::cleanLocalWork();
                    TemporaryFolder::removeAbandoned();
                    located.messages = SwapJournal::recover(stop);
                    for (auto &message : UnfinishedSwaps::finish(located.tools->ffprobe, stop))
                        located.messages.push_back(std::move(message));
                    located.pendingSwaps = kestrel::pendingSwaps({});
                }
            }
        } catch (const Cancelled &) {
            return;
        } catch (const std::exception &error) {
            located.error = ErrorText::describe(error);
        }
        m_mailbox.post([this, located = std::make_shared<Located>(std::move(located))] {
            takeTools(std::move(*located));
        });
    });
}

void AppModel::takeTools(Located located)
{
    m_lock = std::move(located.lock);
    for (const auto &message : located.messages)
        emit repaired(message);
    setPendingSwaps(std::move(located.pendingSwaps));
    if (!located.tools) {
        m_toolError = located.error;
        emit toolsChanged();
        return;
    }
    m_tools = std::move(located.tools);
    m_tools->mayMeasure = m_measuresQuality;
    if (!supports(*m_tools, m_settings.codec)) {
        ConversionSettings possible = m_settings;
        possible.codec = VideoCodecChoice::keepVideo;
        setSettings(possible);
    }
    emit toolsChanged();
    if (m_rootURL)
        rescan(); // it was opened before the tools were located
    else if (m_options.openFolder)
        open(*m_options.openFolder);
}

void AppModel::begin(std::unique_ptr<Task> task, const Activity &activity,
                     std::optional<std::string> sleepReason, std::function<void(Task &)> finish)
{
    m_task = std::move(task);
    connect(m_task.get(), &Task::ended, this, [this, finish = std::move(finish)] {
        Task *ended = m_task.release(); // it is still emitting the signal
        disconnect(ended, nullptr, this, nullptr);
        ended->setParent(this); // deletes it where the event loop never runs again
        ended->deleteLater();
        m_pausesForSuspension = false;
        setSleepReason(std::nullopt);
        finish(*ended);
    });
    setActivity(activity);
    setSleepReason(std::move(sleepReason));
    m_task->start();
}

void AppModel::setSettings(const ConversionSettings &settings)
{
    m_settings = settings;
    if (m_options.persists)
        m_options.store.setSettings(settings);
    applySleepPrevention();
    applyStatusServer();
    recompute();
    emit settingsChanged();
}

void AppModel::setMeasuresQuality(bool measures)
{
    if (measures == m_measuresQuality)
        return;
    m_measuresQuality = measures;
    if (m_options.persists)
        m_options.store.setMeasuresQuality(measures);
    if (m_tools)
        m_tools->mayMeasure = measures;
    emit toolsChanged();
}

void AppModel::open(const std::filesystem::path &folder)
{
    if (isBusy())
        return;
    m_rootURL = Files::standardized(folder);
    m_storage.reset(); // unknown until the scan has determined it
    m_library.fill({{}, *m_rootURL});
    m_runFiles.clear();
    if (m_options.persists)
        m_options.store.setLastFolder(*m_rootURL);
    emit folderChanged();
    rescan();
}

void AppModel::rescan()
{
    if (!m_tools || !m_rootURL || isBusy())
        return;
    m_library.setSelection({});
    m_hiddenHere.clear();
    setMessage(std::string(Sentences::searching));
    // A command for single files may share the folder with other machines, whose work in progress must stay.
    InstanceLock *lock = m_options.only ? nullptr : m_lock.get();
    auto scan = std::make_unique<FolderScan>(
        FolderScan::Request{*m_rootURL, *m_tools, lock, m_options.asksAgain, m_options.only});
    connectScan(*scan);
    begin(std::move(scan), {Activity::Kind::scanning}, std::nullopt,
          [this](Task &task) { endScan(static_cast<FolderScan &>(task)); });
}

void AppModel::connectScan(FolderScan &scan)
{
    connect(&scan, &FolderScan::located, this, [this](const StorageLocation &storage) {
        m_storage = storage;
        emit folderChanged();
    });
    connect(&scan, &FolderScan::repaired, this, &AppModel::repaired);
    connect(&scan, &FolderScan::listed, this, [this](const auto &contents) {
        m_library.fill(std::move(*contents));
        m_runFiles.clear();
        setActivity({Activity::Kind::scanning, 0, m_library.items().size()});
    });
    connect(&scan, &FolderScan::probed, this, &AppModel::takeProbe);
    connect(&scan, &FolderScan::progressed, this, [this](std::size_t done) {
        setActivity({Activity::Kind::scanning, done, m_activity.total});
    });
    connect(&scan, &FolderScan::metHidden, this, [this](const auto &here, const auto &everywhere) {
        m_hiddenHere = here;
        setPendingSwaps(everywhere);
    });
}

void AppModel::takeProbe(std::size_t index, const ProbeOutcome &outcome)
{
    FileItem &item = *m_library.items().at(index);
    if (!outcome.info) {
        m_library.change(item, [&](FileItem &file) { file.probeError = outcome.error; });
        return;
    }
    item.mayBeIncomplete = std::chrono::system_clock::now() - outcome.info->modified < growingAge;
    m_library.setInfo(item, *outcome.info);
}

void AppModel::setPendingSwaps(std::vector<HiddenOriginal> swaps)
{
    if (swaps == m_pendingSwaps)
        return;
    m_pendingSwaps = std::move(swaps);
    emit pendingSwapsChanged();
}

void AppModel::endScan(const FolderScan &scan)
{
    m_scanError = scan.error();
    const bool wasStopped = m_activity.done < m_activity.total || scan.wasStopped();
    recompute();
    const std::size_t incomplete = totals().incomplete;
    if (m_scanError)
        setProblem(Sentences::scanFailed(*m_scanError));
    else if (!wasStopped && !m_hiddenHere.empty())
        setProblem(hiddenNames(m_hiddenHere) + "\nDer Befehl zum Zurückholen steht in den Einstellungen.");
    else if (!wasStopped && m_library.items().empty())
        setMessage(std::string(Sentences::nothingFound));
    else if (!wasStopped && incomplete > 0)
        setProblem(fmt::format("{} Dateien werden evtl. noch kopiert – später neu analysieren", incomplete));
    else
        setMessage(std::nullopt);
    setActivity({});
}

std::optional<std::string> AppModel::outputWarning() const
{
    const bool replaces = m_settings.outputMode == OutputMode::replaceOriginal;
    if (!m_storage || !m_storage->isNetwork() || m_storage->hasRecycleBin || !replaces)
        return std::nullopt;
    return "Achtung: Das Netzlaufwerk hat keinen Papierkorb – das Original wird nach erfolgreicher Prüfung "
           "endgültig gelöscht.";
}

void AppModel::setActivity(const Activity &activity)
{
    if (activity == m_activity)
        return;
    m_activity = activity;
    m_isStopping = m_isStopping && isBusy();
    emit activityChanged();
}

void AppModel::setMessage(std::optional<std::string> message)
{
    if (message == m_message)
        return;
    m_message = std::move(message);
    m_isMessageOfProblem = false;
    emit messageChanged();
}

void AppModel::setProblem(std::string message)
{
    m_message = std::move(message);
    m_isMessageOfProblem = true;
    emit messageChanged();
}

void AppModel::setPaused(bool isPaused)
{
    if (isPaused == m_isPaused)
        return;
    m_isPaused = isPaused;
    emit activityChanged();
}

void AppModel::setSleepReason(std::optional<std::string> reason)
{
    m_sleepReason = std::move(reason);
    applySleepPrevention();
}

void AppModel::applySleepPrevention()
{
    if (m_sleepReason && m_settings.preventSleep)
        m_sleepInhibitor.hold(*m_sleepReason);
    else
        m_sleepInhibitor.release();
}

void AppModel::applyStatusServer()
{
    const auto port = StatusService::parsePort(m_options.store.statusPort().value_or(""));
    m_statusService.apply(m_options.servesStatusPage && m_settings.statusPage,
                          port.value_or(StatusServer::port));
}

std::vector<std::string> AppModel::statusURLs() const
{
    const auto port = m_statusService.port();
    return port ? StatusServer::pageURLs(*port) : std::vector<std::string>();
}

void AppModel::updateBadge()
{
    std::optional<std::string> badge;
    if (m_activity.kind == Activity::Kind::converting)
        badge = fmt::format("{} %", static_cast<int>(runProgress() * 100));
    if (badge == m_badge)
        return;
    m_badge = std::move(badge);
    emit badgeChanged(m_badge);
}

} // namespace kestrel
