#pragma once

#include <QObject>
#include <chrono>
#include <cstddef>
#include <filesystem>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "encoding/HiddenOriginal.h"
#include "encoding/StorageLocation.h"
#include "media/Tools.h"
#include "model/Library.h"
#include "model/RunStats.h"
#include "model/StatusService.h"
#include "model/UserDefaults.h"
#include "planning/ConversionSettings.h"
#include "planning/Planner.h"
#include "platform/InstanceLock.h"
#include "platform/Mailbox.h"
#include "platform/SleepInhibitor.h"

namespace kestrel {

class ConversionRun;
class FolderScan;
class ProbeClip;
class SamplingRun;
struct ProbeOutcome;

// What the model is doing. Only one thing at a time.
struct Activity {
    enum class Kind { scanning, sampling, probeClip, idle, converting };
    Kind kind = Kind::idle;
    std::size_t done = 0, total = 0; // files, of a scan or of sampling
    double progress = 0;             // 0 … 1, of a probe clip or of the file that is measured

    bool operator==(const Activity &) const = default;
};

// The one object behind every front: it owns the library, the settings and the running activity, and tells
// its observers what changes. It needs an event loop, but no window. Main thread only; destroying it stops
// what is running and waits for its end.
class AppModel : public QObject {
    Q_OBJECT

public:
    struct Options {
        UserDefaults store = UserDefaults::standard();
        std::optional<ConversionSettings> settings;          // instead of the stored ones
        std::optional<bool> measuresQuality;                 // likewise
        std::vector<std::filesystem::path> toolFolders;      // where ffmpeg is; the usual places where empty
        bool persists = true;                                // settings and last folder
        bool changesFiles = true;                            // else nothing is repaired or tidied up
        bool servesStatusPage = false;                       // where the settings want it
        std::optional<std::filesystem::path> openFolder;     // once the tools are located
        bool asksAnew = false;                               // ffprobe, in every scan
        std::optional<std::set<std::filesystem::path>> only; // relative paths that a scan takes
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
    bool isPaused() const { return m_isPaused; }
    bool isStopping() const { return m_isStopping; } // asked to; what runs is about to end
    const std::optional<std::string> &message() const { return m_message; } // German
    // The message tells of something that went wrong or needs care.
    bool isMessageOfProblem() const { return m_isMessageOfProblem; }
    const std::optional<std::string> &scanError() const { return m_scanError; } // of the last scan; German
    // Originals that a cut-off swap on a share has left hidden: in the open folder, and all that are known
    // of.
    const std::vector<HiddenOriginal> &hiddenHere() const { return m_hiddenHere; }
    const std::vector<HiddenOriginal> &pendingSwaps() const { return m_pendingSwaps; }
    const std::optional<RunStats> &run() const { return m_run; }
    const std::optional<std::filesystem::path> lastFolder() const { return m_options.store.lastFolder(); }
    // Another copy of the program was there when this one started, or when it last scanned.
    bool otherInstanceRunning() const { return m_lock && !m_lock->isAlone(); }
    // The addresses of the status page, while it is served; the first is the easiest to type.
    std::vector<std::string> statusURLs() const;
    std::optional<std::uint16_t> statusPort() const { return m_statusService.port(); }
    const std::optional<std::string> &statusServerError() const { return m_statusService.error(); } // German
    std::chrono::steady_clock::time_point statusPageAskedAt() { return m_statusService.askedAt(); }
    // What the user is to know before originals are replaced there; absent where they go to a trash. German.
    std::optional<std::string> outputWarning() const;
    const SleepInhibitor &sleepInhibitor() const { return m_sleepInhibitor; }

    void open(const std::filesystem::path &folder);
    void rescan();
    void recompute() { m_library.recompute(m_settings, abilities()); }
    // Of the located ffmpeg.
    Planner::Abilities abilities() const
    {
        return m_tools ? Planner::abilities(*m_tools) : Planner::Abilities();
    }
    // Valid until the library changes.
    const Totals &totals() const { return m_library.totals(); }
    void setSettings(const ConversionSettings &settings);
    // Whether films get a quality search, or else a fixed CRF; a run that lasts keeps what it began with.
    bool measuresQuality() const { return m_measuresQuality; }
    void setMeasuresQuality(bool measures);
    void clearMessage() { setMessage(std::nullopt); }

    void startConversion();
    void togglePause();
    // Ends whatever is running; what has been finished stays.
    void stop();

    // Measures so many of the files, spread evenly, or all of them; of the whole library or of the given
    // rows.
    void startSampling(std::optional<std::size_t> count, const std::optional<Library::Ids> &only);
    // Of the selected file.
    void makeProbeClip();

    // Shows the state of a run over the files that could be converted, so far done (0 … 1), without touching
    // a file; 1 ends it. For pictures. Ignored while real work runs.
    void simulateRun(double done);

    // Freezes and thaws the running activity together with the process; a conversion counts it as a pause.
    void suspend();
    void resume();

    // 0 … 1, of the run that lasts or was the last.
    double runProgress() const;
    // Seconds, while a run has come far enough to tell.
    std::optional<double> runRemaining() const;
    std::optional<std::chrono::system_clock::time_point>
    estimatedCompletion(const std::vector<FileItem *> &items) const;
    // With which the run converts the file, else the current ones. Valid until the next change.
    const ConversionSettings &settingsOf(const FileItem &item) const;
    // The files that are being converted or measured now, in the order of their turns.
    std::vector<const FileItem *> inWork() const;
    // In how many seconds each file of the run that lasts and is not done yet will be, in the run's order.
    std::vector<std::pair<const FileItem *, double>> schedule() const;
    // The books of run() are of the files that the library holds now.
    bool isRunOfLibrary() const { return m_isRunOfLibrary; }

signals:
    void toolsChanged();  // located, not found, or what measures
    void folderChanged(); // the folder, or what is known of its storage
    void settingsChanged();
    void repaired(const std::string &message); // an interrupted swap; German
    void pendingSwapsChanged();
    void activityChanged();
    void messageChanged();
    void runChanged(); // books, progress or pause
    void sampling(const kestrel::FileItem &item, double fraction);
    void sampled(const kestrel::FileItem &item);
    void samplingFailed(const kestrel::FileItem &item, const std::string &text);
    void clipMade(const std::filesystem::path &clip);
    void clipFailed();          // the message tells why
    void statusServerChanged(); // addresses or error
    void badgeChanged(const std::optional<std::string> &text);
    void attentionRequested();

private:
    struct Located;

    void loadTools();
    void takeTools(Located located);
    void connectScan(FolderScan &scan);
    void takeProbe(std::size_t index, const ProbeOutcome &outcome);
    void setPendingSwaps(std::vector<HiddenOriginal> swaps);
    void endScan(const std::optional<std::string> &error);
    void endConversion();
    void endClip();

    void retire(std::unique_ptr<QObject> run);
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
    bool m_isRunOfLibrary = false;
    std::vector<FileItem *> m_simulated; // of a simulated run, in its order
    std::optional<std::string> m_sleepReason;
    std::optional<std::string> m_badge;
    std::unique_ptr<InstanceLock> m_lock;
    SleepInhibitor m_sleepInhibitor;

    // Last: what their threads use outlives them.
    std::unique_ptr<FolderScan> m_scan;
    std::unique_ptr<ConversionRun> m_conversion;
    std::unique_ptr<SamplingRun> m_sampling;
    std::unique_ptr<ProbeClip> m_clip;
    Mailbox m_mailbox;
    std::jthread m_locator;
    StatusService m_statusService{*this};
};

} // namespace kestrel
