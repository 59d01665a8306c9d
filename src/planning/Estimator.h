#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "media/MediaInfo.h"
#include "planning/ConversionSettings.h"
#include "planning/Plan.h"
#include "planning/SampleResult.h"

namespace kestrel {

// Estimates how large a converted file will be, and how long its conversion takes.
struct SizeEstimate {
    enum class Kind { heuristic, calibrated, measured, exact }; // from the weakest

    double videoBytes = 0, audioBytes = 0;
    double otherBytes = 0; // subtitles and container
    Kind kind = Kind::heuristic;
    std::optional<double> vmaf; // measured mean, only for `measured`
    double encodeSeconds = 0;   // wall clock

    bool operator==(const SizeEstimate &) const = default;
    double total() const { return videoBytes + audioBytes + otherBytes; }
};

std::string_view id(SizeEstimate::Kind kind);
std::string_view label(SizeEstimate::Kind kind); // German

// Predicts size and time before anything is encoded. Pure.
namespace Estimator {

// Returns the bits per second that the video is expected to need, from its bits per pixel alone; 0 when
// unknown.
double heuristicVideoBitrate(const MediaInfo &info, int outputWidth, int outputHeight,
                             const ConversionSettings &settings);
double heuristicVideoBitrate(const MediaInfo &info, const Plan &plan, const ConversionSettings &settings);

// The factors are learnt from samples of other files: measured over estimated bitrate, and measured over
// nominal throughput.
SizeEstimate estimate(const MediaInfo &info, const Plan &plan, const ConversionSettings &settings,
                      const SampleResult *sample, std::optional<double> contentFactor,
                      std::optional<double> speedFactor);

std::optional<double> median(std::vector<double> values);

} // namespace Estimator

} // namespace kestrel
