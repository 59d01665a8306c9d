#pragma once

#include <chrono>
#include <mutex>
#include <optional>
#include <stop_token>
#include <vector>

#include "encoding/FFmpegRunner.h"

namespace kestrel {

// Holds the ffmpegs that a longer piece of work runs at the moment, so that others can freeze them. All
// functions may be called from any thread at any time.
class CurrentRunner {
public:
    // Calls FFmpegRunner::run(); while suspended, ffmpeg starts frozen.
    int run(FFmpegRunner &runner, std::stop_token stop);

    void suspend();
    void resume();
    // Returns how long it has been suspended in all, in seconds.
    double suspendedSeconds() const;

private:
    using Clock = std::chrono::steady_clock;

    // Guarded by m_lock.
    mutable std::mutex m_lock;
    std::vector<FFmpegRunner *> m_runners;
    std::optional<Clock::time_point> m_suspendedSince;
    std::chrono::duration<double> m_suspended{0};
};

} // namespace kestrel
