#pragma once

#include <optional>
#include <string>
#include <vector>

#include "media/Tools.h"

namespace kestrel {

namespace Sampler {

// One measurement at one CRF, over all sample segments of a file.
struct Step {
    int value = 0;                         // the CRF tried
    double bitrate = 0;                    // bits per second
    std::optional<double> vmaf, vmafWorst; // mean and worst segment; absent where nothing measures
    double megapixelsPerSecond = 0;        // encoding throughput
    double seconds = 0;                    // media time of the segments

    bool operator==(const Step &) const = default;
};

} // namespace Sampler

// What the quality search found for one file under one videoKey.
struct SampleResult {
    double videoBitrate = 0; // at the chosen CRF, bits per second
    std::optional<double> vmafMean, vmafWorst;
    double megapixelsPerSecond = 0;
    double measuredSeconds = 0;
    double heuristicBitrate = 0;      // what had been guessed for the same file and settings
    int qualityValue = 0;             // the chosen CRF
    std::optional<double> vmafTarget; // absent when no search ran
    std::vector<Sampler::Step> steps; // every CRF tried, in order
    std::string scorer;               // what scored it, with its version and model; empty without a score

    bool operator==(const SampleResult &) const = default;

    // The video would hardly shrink at the quality that was searched for: the measured rate is at least
    // nine tenths of the source's (bits per second).
    bool hardlySaves(double sourceBitrate) const { return 0.9 * sourceBitrate <= videoBitrate; }
    // It was made while nothing measured, and now something does: a search has more to say of the film.
    bool isOutdated(Measuring measuring) const { return measuring != Measuring::nothing && !vmafTarget; }
    // It shows how far the guesses for other files are off.
    bool calibrates() const { return heuristicBitrate > 0; }
};

// The reason that Planner::plan is then given.
inline constexpr const char *measuredUnchanged =
    "Messung: bei gleicher Qualität kaum Ersparnis – bleibt unverändert";

} // namespace kestrel
