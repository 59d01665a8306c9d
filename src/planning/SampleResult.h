#pragma once

#include <optional>
#include <string>
#include <vector>

#include "media/Tools.h"

namespace kestrel {

namespace Sampler {

// Holds one measurement at one CRF, over all sample segments of a file.
struct Step {
    int value = 0;                         // the CRF tried
    double bitrate = 0;                    // bits per second
    std::optional<double> vmaf, vmafWorst; // mean and worst segment; absent where nothing measures
    double megapixelsPerSecond = 0;        // encoding throughput
    double seconds = 0;                    // media time of the segments

    bool operator==(const Step &) const = default;
};

} // namespace Sampler

// Holds what the quality search found for one file under one videoKey.
struct SampleResult {
    double videoBitrate = 0; // at the chosen CRF, bits per second
    std::optional<double> vmafMean, vmafWorst;
    double megapixelsPerSecond = 0;
    double measuredSeconds = 0;
    double heuristicBitrate = 0;      // what had been estimated for the same file and settings
    int qualityValue = 0;             // the chosen CRF
    std::optional<double> vmafTarget; // absent when no search ran
    std::vector<Sampler::Step> steps; // every CRF tried, in order
    std::string scorer;               // name, version and model of what scored it; empty without a score

    bool operator==(const SampleResult &) const = default;

    // Returns whether the video would hardly shrink at the quality that was searched for: the measured rate
    // is at least nine tenths of the source's (bits per second).
    bool hardlySaves(double sourceBitrate) const { return 0.9 * sourceBitrate <= videoBitrate; }
    // Returns whether it was made while nothing measured, and now something does: a search then finds more.
    bool isOutdated(Measuring measuring) const { return measuring != Measuring::nothing && !vmafTarget; }
    // Returns whether it shows how far the estimates for other files are off.
    bool calibrates() const { return heuristicBitrate > 0; }
};

// The reason that Planner::plan() gets in that case.
inline constexpr const char *measuredUnchanged =
    "Messung: bei gleicher Qualität kaum Ersparnis – bleibt unverändert";

} // namespace kestrel
