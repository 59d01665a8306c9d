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

// The whole work on one file of a run: skip it when it is done already, measure it where that is needed,
// plan it, convert it, and look at what came out. One object serves one file. Values go in, reports come
// out through callbacks on the thread in run(); bookkeeping stays with the caller. suspend() and
// resume() may be called from any thread.
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
        std::function<void(double fraction)> analyzing;     // the quality search
        std::function<void(const SampleResult &)> measured; // its end, whatever becomes of the file
        std::function<void(double fraction, double fps)> running;
        std::function<void()> uploading;
    };

    struct Result {
        ConversionOutcome outcome;
        bool wasConvertedBefore = false;  // skipped, because its target was there already
        std::optional<MediaInfo> newInfo; // of the file that took the original's place
        bool wasEncoded = true;           // noSavings: else the measurement alone spoke against it
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

    // Touched by run() alone.
    Request m_request;

    // Guarded by m_lock.
    std::mutex m_lock;
    std::condition_variable_any m_resumed;
    bool m_isPaused = false;
    std::unique_ptr<ConversionJob> m_job;

    CurrentRunner m_search; // the quality search's ffmpeg
};

} // namespace kestrel
