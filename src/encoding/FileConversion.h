#pragma once

#include <condition_variable>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>

#include "encoding/ConversionJob.h"
#include "media/MediaInfo.h"
#include "media/Tools.h"
#include "planning/ConversionSettings.h"
#include "planning/PlannedFile.h"
#include "planning/SampleResult.h"

namespace kestrel {

// Does the whole work on one file of a run: skips it when it is done already, measures it where that is
// needed, plans it, converts it, and probes the result. One object serves one file. It reports through
// callbacks on the thread in run() and leaves bookkeeping to the caller. suspend() and resume() may be called
// from any thread.
class FileConversion {
public:
    struct Request {
        MediaInfo info;
        ConversionSettings settings;
        Tools tools;
        std::filesystem::path rootURL;      // the opened folder
        std::optional<SampleResult> sample; // the file's own for settings.videoKey(), if measured before
    };

    struct Callbacks {
        std::function<void(double fraction)> analyzing;     // progress of the quality search
        std::function<void(const SampleResult &)> measured; // called at its end, whatever happens to the file
        std::function<void(double fraction, double fps)> running;
        std::function<void()> uploading;
    };

    struct Result {
        ConversionOutcome outcome;
        bool wasConvertedBefore = false;  // skipped, because its target was there already
        std::optional<MediaInfo> newInfo; // of the file that took the original's place
        bool wasEncoded = true; // for noSavings: false when the measurement alone ruled the file out
    };

    explicit FileConversion(Request request);

    // Blocks. Throws ToolError with a finished German sentence, the file system's errors, or Cancelled.
    Result run(const Callbacks &callbacks, std::stop_token stop);

    void suspend();
    void resume();

private:
    void refresh(const std::stop_token &stop);
    Result withNewInfo(const ConversionOutcome &outcome) const;
    std::optional<ConversionOutcome> finishEarlierSwap(const std::stop_token &stop) const;
    std::optional<ConversionOutcome> findConverted(const std::stop_token &stop) const;
    SampleResult measure(const Plan &plan, const Callbacks &callbacks, const std::stop_token &stop);
    void waitWhilePaused(const std::stop_token &stop);
    ConversionOutcome convert(const PlannedFile &planned, const Callbacks &callbacks,
                              const std::stop_token &stop);

    // Only run() accesses it.
    Request m_request;

    // Guarded by m_lock.
    std::mutex m_lock;
    std::condition_variable_any m_resumed;
    bool m_isPaused = false;
    std::unique_ptr<ConversionJob> m_job;

    CurrentRunner m_search; // the quality search's ffmpeg
};

} // namespace kestrel
