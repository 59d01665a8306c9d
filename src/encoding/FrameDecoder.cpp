#include "encoding/FrameDecoder.h"

#include <algorithm>
#include <exception>
#include <utility>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "encoding/CommandBuilder.h"
#include "media/Tools.h"
#include "platform/Cancelled.h"
#include "platform/ErrorText.h"
#include "platform/Text.h"

namespace kestrel {

namespace {

constexpr std::size_t mostFrames = 2; // decoded frames that wait to be read

// Returns arguments with which every decoded picture is written once, with its own time to the microsecond;
// by default ffmpeg fills gaps, drops pictures and rounds times to whole frames.
std::vector<std::string> argumentsOf(const FrameDecoder::Order &order)
{
    std::vector<std::string> arguments{"-nostdin", "-hide_banner", "-loglevel", "error"};
    const auto add = [&](std::initializer_list<std::string> words) {
        arguments.insert(arguments.end(), words);
    };
    if (order.start)
        add({"-ss", CommandBuilder::format(*order.start)});
    if (order.length)
        add({"-t", CommandBuilder::format(*order.length)});
    add({"-i", order.file.native(), "-map", fmt::format("0:{}", order.track), "-map_metadata", "-1",
         "-map_chapters", "-1", "-vf", fmt::format("{}", fmt::join(order.filters, ",")), "-fps_mode",
         "passthrough", "-enc_time_base", "1:1000000", "-c:v", "rawvideo", "-f", "nut", "pipe:1"});
    return arguments;
}

std::string sentence(const std::filesystem::path &file, const std::string &reason)
{
    return fmt::format("Die Bilder von „{}“ konnten nicht gelesen werden: {}",
                       Text::repaired(file.filename().native()), reason);
}

} // namespace

FrameDecoder::FrameDecoder(const std::filesystem::path &ffmpeg, const Order &order, CurrentRunner *current,
                           const std::stop_token &stop)
    : m_current(current), m_onStop(stop, [this] { m_stop.request_stop(); }),
      m_thread([this, ffmpeg, order] { decode(ffmpeg, order); })
{
}

FrameDecoder::~FrameDecoder()
{
    m_stop.request_stop();
    m_thread.join();
}

std::optional<TimedFrame> FrameDecoder::next()
{
    std::unique_lock guard(m_lock);
    m_changed.wait(guard, m_stop.get_token(), [this] { return isReady(); });
    return take(guard);
}

std::optional<TimedFrame> FrameDecoder::next(const FrameDecoder &other,
                                             std::chrono::duration<double> patience)
{
    using Clock = std::chrono::steady_clock;
    constexpr std::chrono::milliseconds glance{100};
    const auto working = [this] { // seconds
        const double paused = m_current != nullptr ? m_current->suspendedSeconds() : 0;
        return std::chrono::duration<double>(Clock::now().time_since_epoch()).count() - paused;
    };
    std::optional<double> since;
    std::unique_lock guard(m_lock);
    while (!m_changed.wait_for(guard, m_stop.get_token(), glance, [this] { return isReady(); })) {
        throwIfStopped(m_stop.get_token());
        if (!since && other.hasEnded())
            since = working();
        if (since && working() - *since > patience.count())
            return std::nullopt;
    }
    return take(guard);
}

std::optional<TimedFrame> FrameDecoder::take(std::unique_lock<std::mutex> &guard)
{
    throwIfStopped(m_stop.get_token());
    if (m_frames.empty()) {
        if (!m_failure.empty())
            throw ToolError::failed(m_failure);
        return std::nullopt;
    }
    TimedFrame frame = std::move(m_frames.front());
    m_frames.pop_front();
    guard.unlock();
    m_changed.notify_all();
    return frame;
}

void FrameDecoder::push(TimedFrame frame)
{
    {
        std::unique_lock guard(m_lock);
        if (!m_changed.wait(guard, m_stop.get_token(), [this] { return m_frames.size() < mostFrames; }))
            return;
        m_frames.push_back(std::move(frame));
    }
    m_changed.notify_all();
}

// Runs on the decoder's own thread.
void FrameDecoder::decode(const std::filesystem::path &ffmpeg, const Order &order)
{
    std::string failure;
    try {
        NutParser parser;
        bool isBroken = false;
        FFmpegRunner runner(ffmpeg, argumentsOf(order), FFmpegRunner::Output([&](std::string_view bytes) {
                                if (isBroken || m_stop.stop_requested())
                                    return;
                                try {
                                    parser.consume(bytes,
                                                   [this](TimedFrame frame) { push(std::move(frame)); });
                                } catch (const std::exception &) { // bad bytes, or no memory for them
                                    isBroken = true;
                                    runner.cancel();
                                }
                            }));
        const std::stop_token stop = m_stop.get_token();
        const int status = m_current != nullptr ? m_current->run(runner, stop) : runner.run(stop);
        const std::string words = runner.errorTail();
        if (!isBroken && (status != 0 || runner.lostSomething()))
            failure = !words.empty() ? words : fmt::format("ffmpeg meldet einen Fehler ({}).", status);
        else if (isBroken || !parser.isComplete())
            failure = "ffmpeg hat unvollständige Bilder geliefert." + (words.empty() ? "" : "\n" + words);
    } catch (const std::exception &error) {
        failure = ErrorText::describe(error);
    }
    {
        const std::scoped_lock guard(m_lock);
        m_hasEnded = true;
        if (!failure.empty())
            m_failure = sentence(order.file, failure);
    }
    m_changed.notify_all();
}

} // namespace kestrel
