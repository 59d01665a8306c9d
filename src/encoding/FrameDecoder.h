#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <filesystem>
#include <functional>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

#include "encoding/CurrentRunner.h"
#include "encoding/NutParser.h"

namespace kestrel {

// Decodes the luma of one film through an ffmpeg of its own, which runs a few pictures ahead of who takes
// them. Made and used by one thread. Destroying it ends ffmpeg.
class FrameDecoder {
public:
    struct Order {
        std::filesystem::path file;
        int track = 0;                       // as ffprobe numbers streams
        std::optional<double> start, length; // seconds
        std::vector<std::string> filters;    // the last one leaves the luma
    };

    // `current` may be missing.
    FrameDecoder(const std::filesystem::path &ffmpeg, const Order &order, CurrentRunner *current,
                 const std::stop_token &stop);
    ~FrameDecoder();
    FrameDecoder(const FrameDecoder &) = delete;
    FrameDecoder &operator=(const FrameDecoder &) = delete;

    // Waits for the next picture; absent at the end. Its time counts from the start of what is decoded.
    // Throws ToolError where ffmpeg failed or lost something, and Cancelled.
    std::optional<TimedFrame> next();
    // Likewise; but once the other film is at its end, an ffmpeg that shows nothing for so long, pauses not
    // counted, is taken to be at its own.
    std::optional<TimedFrame> next(const FrameDecoder &other, std::chrono::duration<double> patience);
    // ffmpeg is at its end; pictures may be left.
    bool hasEnded() const;

private:
    void decode(const std::filesystem::path &ffmpeg, const Order &order);
    void push(TimedFrame frame);
    std::optional<TimedFrame> take(std::unique_lock<std::mutex> &guard);
    bool isReady() const { return !m_frames.empty() || m_hasEnded; }

    // Set once.
    CurrentRunner *const m_current;
    std::stop_source m_stop;

    // Guarded by m_lock.
    mutable std::mutex m_lock;
    std::condition_variable_any m_changed;
    std::deque<TimedFrame> m_frames;
    bool m_hasEnded = false;
    std::string m_failure; // German; empty when the film was decoded to its end

    std::stop_callback<std::function<void()>> m_onStop;
    std::thread m_thread; // last: what it uses outlives it
};

} // namespace kestrel
