#pragma once

#include <QObject>
#include <chrono>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <unordered_map>
#include <utility>
#include <vector>

#include "encoding/HiddenOriginal.h"
#include "encoding/StorageLocation.h"
#include "media/Tools.h"
#include "model/Library.h"
#include "model/RunStats.h"
#include "model/StatusService.h"
#include "model/Task.h"
#include "model/UserDefaults.h"
#include "planning/ConversionSettings.h"
#include "planning/Planner.h"
#include "platform/InstanceLock.h"
#include "platform/Mailbox.h"
#include "platform/SleepInhibitor.h"

namespace kestrel {

class FolderScan;
class ProbeClip;
struct ProbeOutcome;

// States what the model is doing. It does only one thing at a time.
struct Activity {
    enum class Kind { scanning, sampling, probeClip, idle, converting };
    Kind kind = Kind::idle;
    std::size_t done = 0, total = 0; // files; of a scan or of sampling
    double progress = 0;             // 0 … 1; of a probe clip or of the file that is measured

    bool operator==(const Activity &) const = default;
};

// The one object behind every front: it owns the library, the settings and the running task, and notifies its
// observers of changes. It needs an event loop, but no window. The destructor stops the task and waits for
// its end. REQUIRES: the main thread.
class AppModel : public QObject {
    Q_OBJECT

public:
    struct Options {
        UserDefaults store = UserDefaults::standard();
        std::optional<ConversionSettings> settings;      // used instead of the stored ones
        std::optional<bool> measuresQuality;             // likewise
        std::vector<std::filesystem::path> toolFolders;  // searched for ffmpeg; the usual ones where empty
        bool persists = true;                            // whether settings and last folder are stored
        bool changesFiles = true;                        // otherwise nothing is repaired or tidied up
        bool servesStatusPage = false;                   // if the settings want it
        std::optional<std::filesystem::path> openFolder; // opened once the tools are located
        bool asksAgain = false;                          // whether every scan runs ffprobe again
        std::optional<std::set<std::filesystem::path>> only; // relative paths to which a scan is limited
        // Creates the task of a run, in place of a ConversionRun; for pictures of runs that convert nothing.
        std::function<std::unique_ptr<RunTask>(RunTask::Request, Library &, RunStats &)> makeRun;
    };

    explicit AppModel(Options options);
    ~AppModel() override;

    const std::optional<Tools> &tools() const { return m_tools; }
    const std::optional<std::string> &toolError() const { return m_toolError; } // German
    const std::optional<std::filesystem::path> &rootURL() const { return m_rootURL; }
    const std::optional<StorageLocation> &storage() const { return m_storage; }
    Library &library() { return m_library; }
    const Library &library() const { return m_library; }
    const ConversionSettings &settings() const { return m_settings; }
    const Activity &activity() const { return m_activity; }
    bool isBusy() const { return m_activity.kind != Activity::Kind::idle; }
    const Task *task() const { return m_task.get(); } // the running task; null while idle
    bool isPaused() const { return m_isPaused; }
    bool isStopping() const { return m_isStopping; }                        // the task is about to end
    const std::optional<std::string> &message() const { return m_message; } // German
    // Returns whether the message reports something that went wrong or needs care.
    bool isMessageOfProblem() const { return m_isMessageOfProblem; }
    const std::optional<std::string> &scanError() const { return m_scanError; } // of the last scan; German
    // Return the originals that an interrupted swap on a share has left hidden: those in the open folder, and
    // all known ones.
    const std::vector<HiddenOriginal> &hiddenHere() const { return m_hiddenHere; }
    const std::vector<HiddenOriginal> &pendingSwaps() const { return m_pendingSwaps; }
    const std::optional<RunStats> &run() const { return m_run; }
    const std::optional<std::filesystem::path> lastFolder() const { return m_options.store.lastFolder(); }
    // Returns whether another instance was running when this one started, or when it last scanned.
    bool otherInstanceRunning() const { return m_lock && !m_lock->isAlone(); }
    // Returns the addresses of the status page, while it is served; the first is the easiest to type.
    std::vector<std::string> statusURLs() const;
    std::optional<std::uint16_t> statusPort() const { return m_statusService.port(); }
    const std::optional<std::string> &statusServerError() const { return m_statusService.error(); } // German
    std::chrono::steady_clock::time_point statusPageAskedAt() { return m_statusService.askedAt(); }
    // Returns a warning before originals are replaced there; absent where they are moved to a trash. German.
    std::optional<std::string> outputWarning() const;
    const SleepInhibitor &sleepInhibitor() const { return m_sleepInhibitor; }

    void open(const std::filesystem::path &folder);
    void rescan();
    void recompute() { m_library.recompute(m_settings, abilities()); }
    // Returns what the located ffmpeg can do.
    Planner::Abilities abilities() const
    {
        return m_tools ? Planner::abilities(*m_tools) : Planner::Abilities();
    }
    // The reference is valid until the library changes.
    const Totals &totals() const { return m_library.totals(); }
    void setSettings(const ConversionSettings &settings);
    // Returns whether films get a quality search, or else a fixed CRF; a run in progress keeps its choice.
    bool measuresQuality() const { return m_measuresQuality; }
    void setMeasuresQuality(bool measures);
    void clearMessage() { setMessage(std::nullopt); }

    void startConversion();
    void togglePause();
    // Ends the task; its finished results stay.
    void stop();

    // Measures `count` of the files, spread evenly, or all of them; in the whole library or in the given
    // rows.
    void startSampling(std::optional<std::size_t> count, const std::optional<Library::Ids> &only);
    // Encodes a clip of the selected file.
    void makeProbeClip();

    // Freeze and thaw the task together with the process; a conversion counts it as a pause.
    void suspend();
    void resume();

    // Returns 0 … 1, for the current or else the last run.
    double runProgress() const;
    // Returns seconds, once a run has come far enough for an estimate.
    std::optional<double> runRemaining() const;
    // Returns when these files would be done if the run worked on nothing else.
    std::optional<std::chrono::system_clock::time_point>
    estimatedCompletion(const std::vector<FileItem *> &items) const;
    // Returns when the run will have done the last file below the folder, by its order; absent while it is
    // paused, and where nothing is left to do.
    std::optional<std::chrono::system_clock::time_point> completionOf(const TableNode &folder) const;
    // Returns the settings that the run converts the file with, else the current ones. The reference is valid
    // until the next change.
    const ConversionSettings &settingsOf(const FileItem &item) const
    {
        return item.shownSettings(m_settings);
    }
    // Returns the files that are being converted or measured now, in the run's order.
    std::vector<const FileItem *> inWork() const
    {
        return m_task ? m_task->inWork() : std::vector<const FileItem *>();
    }
    // Returns whether run() refers to the files that the library holds now.
    bool isRunOfLibrary() const { return !m_runFiles.empty(); }

signals:
    void toolsChanged();  // they were located or not found, or what measures has changed
    void folderChanged(); // the folder, or what is known of its storage, has changed
    void settingsChanged();
    void repaired(const std::string &message); // about an interrupted swap; German
    void pendingSwapsChanged();
    void activityChanged();
    void messageChanged();
    void runChanged(); // counts, progress or pause have changed
    void sampling(const kestrel::FileItem &item, double fraction);
    void sampled(const kestrel::FileItem &item);
    void samplingFailed(const kestrel::FileItem &item, const std::string &text);
    void clipMade(const std::filesystem::path &clip);
    void clipFailed();          // the message says why
    void statusServerChanged(); // addresses or error have changed
    void badgeChanged(const std::optional<std::string> &text);
    void attentionRequested();

private:
    struct Located;

    void loadTools();
    void takeTools(Located located);
    // Starts a task; `finish` is called when it has ended and nothing is in work any more.
    void begin(std::unique_ptr<Task> task, const Activity &activity, std::optional<std::string> sleepReason,
               std::function<void(Task &)> finish);
    void connectScan(FolderScan &scan);
    void takeProbe(std::size_t index, const ProbeOutcome &outcome);
    void setPendingSwaps(std::vector<HiddenOriginal> swaps);
    void endScan(const FolderScan &scan);
    void endConversion();
    void endClip(const ProbeClip &clip);
    void setActivity(const Activity &activity);
    void setMessage(std::optional<std::string> message);
    void setProblem(std::string message);
    void setSleepReason(std::optional<std::string> reason);
    void applySleepPrevention();
    void applyStatusServer();
    void setPaused(bool isPaused);
    void updateBadge();

    Options m_options;
    std::optional<Tools> m_tools;
    std::optional<std::string> m_toolError;
    std::optional<std::filesystem::path> m_rootURL;
    std::optional<StorageLocation> m_storage;
    Library m_library;
    ConversionSettings m_settings;
    bool m_measuresQuality = true;
    Activity m_activity;
    bool m_isPaused = false;
    bool m_isStopping = false;
    bool m_isSuspended = false;
    bool m_pausesForSuspension = false;
    std::optional<std::string> m_message;
    bool m_isMessageOfProblem = false;
    std::optional<std::string> m_scanError;
    std::vector<HiddenOriginal> m_hiddenHere, m_pendingSwaps;
    std::optional<RunStats> m_run;
    std::vector<FileItem *> m_runFiles; // those of m_run, in its order; empty where the library has others
    struct Completions {
        std::unordered_map<const TableNode *, std::chrono::system_clock::time_point> ends;
        std::chrono::steady_clock::time_point goodUntil{};
    };
    mutable Completions m_completions; // keyed by folder
    std::optional<std::string> m_sleepReason;
    std::optional<std::string> m_badge;
    std::unique_ptr<InstanceLock> m_lock;
    SleepInhibitor m_sleepInhibitor;

    // They are last, so that what their threads use outlives them.
    std::unique_ptr<Task> m_task;
    Mailbox m_mailbox;
    std::jthread m_locator;
    StatusService m_statusService{*this};
};

} // namespace kestrel
