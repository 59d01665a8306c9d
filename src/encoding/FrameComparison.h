#pragma once

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <optional>
#include <stdexcept>
#include <stop_token>
#include <string>
#include <vector>

#include "encoding/FrameDecoder.h"
#include "media/MediaInfo.h"
#include "quality/FrameScorer.h"

// Scores the pictures of a film against those of its source: both are decoded by an ffmpeg of their own,
// paired by the time at which they are shown, and scored as they come.
namespace kestrel::FrameComparison {

struct Side {
    FrameDecoder::Order order;
    // The start of the time that both sides share, on this side's clock; earlier pictures do not count.
    // Absent where it is the time of the first picture.
    std::optional<double> origin;
};

struct Request {
    std::filesystem::path ffmpeg;
    Side reference, distorted;
    double frameSeconds = 0.04; // the usual distance between two pictures
    int step = 1;               // every `step`-th pair is scored
    std::size_t forgiven = 0;   // number of pictures without a partner that are ignored
    // How long to wait for a decoder that neither delivers a picture nor ends, once the other film has ended.
    std::chrono::duration<double> patience{10};
    CurrentRunner *current = nullptr;     // may be null
    std::function<void(double)> progress; // gets the reference's time that is reached; may be empty
};

struct Frame {
    double time = 0; // seconds, as the reference's decoder counts
    FrameScore score;
};

struct Result {
    std::vector<Frame> frames; // at least one
    std::size_t unmatched = 0; // pictures of either side that have no partner

    double mean() const;
    double harmonicMean() const;
    const Frame &lowest() const;
};

// Returns the filters that bring a film's luma into the range and depth of the film that it is compared with.
std::vector<std::string> lumaOf(const VideoStreamInfo &distorted);

// Thrown when the two films do not belong together; the message is a German sentence.
class Mismatch : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Blocks. Throws Mismatch, also where more than `mostUnmatched` of the pictures have no partner, ToolError
// where a film cannot be decoded, and Cancelled.
inline constexpr double mostUnmatched = 0.02;
Result run(const Request &request, const std::stop_token &stop);

} // namespace kestrel::FrameComparison
