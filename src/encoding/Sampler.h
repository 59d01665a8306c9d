#pragma once

#include <filesystem>
#include <functional>
#include <stop_token>
#include <string>
#include <vector>

#include "encoding/CommandBuilder.h"
#include "encoding/CurrentRunner.h"
#include "media/MediaInfo.h"
#include "media/Tools.h"
#include "planning/ConversionSettings.h"
#include "planning/Plan.h"
#include "planning/SampleResult.h"
#include "planning/Segment.h"

// Measures one file before it is converted: encodes short segments with the real settings and searches the
// CRF that reaches the VMAF target. Blocks; throws ToolError or Cancelled. `progress` gets fractions 0 … 1 on
// the calling thread. REQUIRES: the caller creates and removes `tempDir`.
namespace kestrel::Sampler {

using OnProgress = std::function<void(double)>;

// Describes what is measured, and with what.
struct Subject {
    MediaInfo info;
    Plan plan;
    ConversionSettings settings;
    Tools tools;
    std::filesystem::path tempDir;
    CurrentRunner *current = nullptr; // lets others freeze the search; may be null
};

// Runs the quality search with at most four trial values. Where nothing measures, it is a single measurement
// at the plan's value.
SampleResult search(const Subject &subject, const OnProgress &progress, std::stop_token stop);

// Makes a single measurement at the plan's value, scored where something measures.
SampleResult measure(const Subject &subject, const OnProgress &progress, std::stop_token stop);

// nextValue() returns the CRF to try after these steps; absent when the search ends. `slope` is the VMAF
// change for each CRF step: the one used last goes in, the one used now comes out. REQUIRES: there is at
// least one step, and the last has a score.
struct Proposal {
    int value = 0;
    double slope = 0;
};
std::optional<Proposal> nextValue(const std::vector<Step> &steps, double slope, VideoCodecChoice codec,
                                  double target);

// Returns the step that the search chooses: the smallest that misses the target by at most this much, else
// the best.
inline constexpr double choiceTolerance = 0.1; // VMAF
const Step &choose(const std::vector<Step> &steps, double target);

// Returns arguments that encode a segment as the settings want it, but always into Matroska: ffmpeg gives MP4
// a constant frame rate, may repeat the first frame for it where a segment begins between two, and each frame
// would then be compared with its neighbour.
std::vector<std::string> segmentArguments(const Subject &subject, const Segment &segment,
                                          const std::filesystem::path &output);

// Returns the filters that turn the source's pictures into those that the encode is compared with.
std::vector<std::string> referenceFilters(const Plan &plan);

// Returns the filter graph that compares an encoded segment (input 0) with its source (input 1), up to the
// name of the comparing filter.
std::string comparisonGraph(const MediaInfo &info, const Plan &plan);

// One of this many frames is scored. A step that divides the distance between the encoder's P frames hits the
// same level of the frame pyramid every time and is biased: even ones with SVT-AV1, 5 with x265.
inline constexpr int subsamplingStep = 3;

} // namespace kestrel::Sampler
