#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string>
#include <utility>
#include <vector>

#include "encoding/ProgressParser.h"
#include "platform/ChildProcess.h"

namespace kestrel {

// Runs one ffmpeg from start to exit and turns its progress stream into numbers.
// One runner serves one run. suspend(), resume() and cancel() may be called from any thread at any time;
// run() blocks the calling thread.
class FFmpegRunner {
public:
    using Progress = EncodeProgress;
    using OnProgress = std::function<void(const Progress &)>; // called on the thread in run()
    // Receives the bytes of standard output, where ffmpeg writes a film there; called on the same thread.
    struct Output {
        explicit Output(ChildProcess::OnBytes function) : onBytes(std::move(function)) {}
        ChildProcess::OnBytes onBytes;
    };

    FFmpegRunner(std::filesystem::path executable, std::vector<std::string> arguments, OnProgress onProgress);
    FFmpegRunner(std::filesystem::path executable, std::vector<std::string> arguments, Output output);

    // Returns ffmpeg's exit status; throws std::system_error when it cannot be started. A stop request acts
    // as cancel(): ffmpeg then usually exits with a status other than 0. `onStarted` is called on the calling
    // thread once suspend() has something to freeze.
    int run(std::stop_token stop, const std::function<void()> &onStarted = {});

    void suspend(); // freezes ffmpeg in place
    void resume();
    // Asks ffmpeg to end, and kills it when it does not end soon because it flushes its encoder first: its
    // output is discarded either way.
    void cancel();

    // Returns the last lines of standard error; empty when there were none.
    std::string errorTail() const;
    // See ErrorTail; meaningful only after an exit with status 0.
    bool lostSomething() const;
    // See ErrorTail; meaningful only after a failure.
    bool lacksTimes() const;

private:
    // Set once.
    const std::filesystem::path m_executable;
    const std::vector<std::string> m_arguments;
    const OnProgress m_onProgress;
    const ChildProcess::OnBytes m_onOutput; // set instead of m_onProgress
    const std::chrono::milliseconds m_grace;

    // Guarded by m_lock.
    mutable std::mutex m_lock;
    std::optional<ChildProcess> m_process;
    ProgressParser m_parser;
    ErrorTail m_errors;
    bool m_suspended = false;
    bool m_cancelled = false;
};

} // namespace kestrel
