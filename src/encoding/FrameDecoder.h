#pragma once

#include <atomic>
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

// Decodes the luma of one film through an ffmpeg of its own, which runs a few pictures ahead of the reader.
// One thread creates and uses it. The destructor ends ffmpeg.
class FrameDecoder {
public:
    struct Order {
        std::filesystem::path file;
        int track = 0;                       // as ffprobe numbers streams
        std::optional<double> start, length; // seconds
        std::vector<std::string> filters;    // the last one extracts the luma
    };

    // `current` may be null.
    FrameDecoder(const std::filesystem::path &ffmpeg, const Order &order, CurrentRunner *current,
                 const std::stop_token &stop);
    ~FrameDecoder();
    FrameDecoder(const FrameDecoder &) = delete;
    FrameDecoder &operator=(const FrameDecoder &) = delete;

    // Waits for the next picture and returns it; absent at the end. Its time counts from the start of what is
    // decoded. Throws ToolError where ffmpeg failed or lost something, and Cancelled.
    std::optional<TimedFrame> next();
    // Likewise; but once `other` has ended, an ffmpeg that delivers nothing for `patience`, pauses not
    // counted, is treated as ended.
    std::optional<TimedFrame> next(const FrameDecoder &other, std::chrono::duration<double> patience);
    // Returns whether ffmpeg has ended; pictures may be left.
    bool hasEnded() const { return m_hasEnded; }

private:
    void decode(const std::filesystem::path &ffmpeg, const Order &order);
    void push(TimedFrame frame);
    std::optional<TimedFrame> take(std::unique_lock<std::mutex> &guard);
    bool isReady() const { return !m_frames.empty() || m_hasEnded; }

    // Set once.
    CurrentRunner *const m_current;
    std::stop_source m_stop;

    // Guarded by m_lock.
    std::mutex m_lock;
    std::condition_variable_any m_changed;
    std::deque<TimedFrame> m_frames;
    std::atomic<bool> m_hasEnded = false; // also read without the lock: two decoders' locks have no order
    std::string m_failure;                // German; empty when the film was decoded to its end

    std::stop_callback<std::function<void()>> m_onStop;
    std::thread m_thread; // last, so that what it uses outlives it
};

} // namespace kestrel
