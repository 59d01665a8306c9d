#include "encoding/FrameComparison.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <stdexcept>
#include <string_view>
#include <utility>

#include <fmt/format.h>

#include "encoding/FramePairing.h"
#include "platform/Cancelled.h"

namespace kestrel::FrameComparison {

namespace {

// Reads one side's pictures, with times that both sides share.
class Stream {
public:
    Stream(const Request &request, const FrameComparison::Side &side, const std::stop_token &stop)
        : m_request(request), m_decoder(request.ffmpeg, side.order, request.current, stop),
          m_isCut(side.origin.has_value()), m_origin(side.origin.value_or(0))
    {
    }

    std::optional<TimedFrame> next(const Stream &other)
    {
        while (auto frame = m_decoder.next(other.m_decoder, m_request.patience)) {
            if (!m_isCut && std::exchange(m_isFirst, false))
                m_origin = frame->time;
            frame->time -= m_origin;
            if (!m_isCut || frame->time > -m_request.frameSeconds / 2)
                return frame;
        }
        return std::nullopt;
    }
    double origin() const { return m_origin; }

private:
    const Request &m_request;
    FrameDecoder m_decoder;
    const bool m_isCut;
    bool m_isFirst = true;
    double m_origin;
};

void requirePartners(const FramePairing &pairing, std::size_t forgiven)
{
    const std::size_t all = pairing.pairs() + pairing.unmatched() + pairing.waiting();
    const auto counted = static_cast<double>(pairing.unmatched() - std::min(forgiven, pairing.unmatched()));
    if (counted > mostUnmatched * static_cast<double>(all))
        throw Mismatch(fmt::format("{} von {} Bildern haben im anderen Film kein Gegenstück.",
                                   pairing.unmatched(), all));
}

void add(FrameScorer &scorer, FramePairing::Pair pair)
{
    try {
        scorer.add(std::move(pair.reference.luma), std::move(pair.distorted.luma));
    } catch (const std::invalid_argument &) {
        throw Mismatch("Die Bilder sind verschieden groß oder kleiner als 16 × 16 Pixel.");
    }
}

// Returns a format of which ffmpeg's extractplanes takes the luma: the video's own layout where that is one.
std::string planarFormat(const VideoStreamInfo &video)
{
    const std::string &name = video.pixFmt.value_or("");
    for (const std::string_view layout : {"420p", "422p", "444p", "440p", "411p", "410p"})
        for (const std::string_view family : {"yuv", "yuvj", "yuva"}) {
            const std::string start = fmt::format("{}{}", family, layout);
            if (!name.starts_with(start))
                continue;
            const std::string depth = name.substr(start.size());
            if (depth.empty() || depth.ends_with("le"))
                return fmt::format("yuv{}{}", layout, depth);
        }
    for (const int depth : {8, 9, 10, 12, 14})
        if (video.bitDepth <= depth)
            return depth == 8 ? "yuv444p" : fmt::format("yuv444p{}le", depth);
    return "yuv444p16le";
}

} // namespace

std::vector<std::string> lumaOf(const VideoStreamInfo &distorted)
{
    // The scaler treats "gray" as full range, so the plane is extracted from a format with the encode's
    // range.
    return {fmt::format("scale=flags=bicubic:out_range={}", distorted.isFullRange ? "pc" : "tv"),
            "format=" + planarFormat(distorted), "extractplanes=y"};
}

double Result::mean() const
{
    double sum = 0;
    for (const Frame &frame : frames)
        sum += frame.score.vmaf;
    return sum / static_cast<double>(frames.size());
}

double Result::harmonicMean() const
{
    double sum = 0; // adds 1 to each value, as libvmaf does, so that a 0 counts too
    for (const Frame &frame : frames)
        sum += 1 / (frame.score.vmaf + 1);
    return static_cast<double>(frames.size()) / sum - 1;
}

const Frame &Result::lowest() const
{
    return *std::min_element(frames.begin(), frames.end(),
                             [](const Frame &a, const Frame &b) { return a.score.vmaf < b.score.vmaf; });
}

Result run(const Request &request, const std::stop_token &stop)
{
    Stream reference(request, request.reference, stop), distorted(request, request.distorted, stop);
    FramePairing pairing(request.frameSeconds);
    FrameScorer scorer(request.step);
    Result result;
    bool hasOneEnded = false;
    for (;;) {
        while (auto pair = pairing.next()) {
            throwIfStopped(stop);
            const double time = pair->reference.time + reference.origin();
            if ((pairing.pairs() - 1) % static_cast<std::size_t>(request.step) == 0)
                result.frames.push_back({time, {}});
            add(scorer, std::move(*pair));
            if (request.progress)
                request.progress(time);
        }
        const auto side = pairing.wanted();
        if (!side)
            break;
        const bool isReference = *side == FramePairing::Side::reference;
        auto frame = isReference ? reference.next(distorted) : distorted.next(reference);
        if (frame) {
            pairing.add(*side, std::move(*frame));
        } else {
            pairing.end(*side);
            hasOneEnded = true;
        }
        if (hasOneEnded) // the loop does not wait for a decoder that never ends
            requirePartners(pairing, request.forgiven);
    }
    requirePartners(pairing, request.forgiven);
    if (result.frames.empty())
        throw Mismatch("Es gibt keine Bilder, die sich vergleichen lassen.");
    const auto scores = scorer.finish();
    for (std::size_t i = 0; i < result.frames.size(); ++i)
        result.frames[i].score = scores.at(i);
    result.unmatched = pairing.unmatched();
    return result;
}

} // namespace kestrel::FrameComparison
