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

// Measures one file before it is converted: encodes short segments with the real settings and searches
// the CRF that reaches the VMAF target. Blocks; throws ToolError or Cancelled. `tempDir` is the caller's
// to make and to remove. `progress` gets fractions 0 … 1 on the calling thread.
namespace kestrel::Sampler {

using OnProgress = std::function<void(double)>;

// What is measured, and with what.
struct Subject {
    MediaInfo info;
    Plan plan;
    ConversionSettings settings;
    Tools tools;
    std::filesystem::path tempDir;
    CurrentRunner *current = nullptr; // through which others freeze the search; may be missing
};

// The quality search: at most four trial values. Where nothing measures it is a single measurement at the
// plan's value.
SampleResult search(const Subject &subject, const OnProgress &progress, std::stop_token stop);

// A single measurement at the plan's value, scored where something measures.
SampleResult measure(const Subject &subject, const OnProgress &progress, std::stop_token stop);

// The CRF to try after these steps (at least one, the last with a score); absent when the search ends.
// `slope` is the VMAF change for each CRF step that was used last, and is replaced by the one used now.
struct Proposal {
    int value = 0;
    double slope = 0;
};
std::optional<Proposal> nextValue(const std::vector<Step> &steps, double slope, VideoCodecChoice codec,
                                  double target);

// The step that the search settles for: the smallest that reaches the target but for this much, else the
// best.
inline constexpr double choiceTolerance = 0.1; // VMAF
const Step &choose(const std::vector<Step> &steps, double target);

// Encodes a segment as the settings want it, but always into Matroska: ffmpeg gives MP4 a constant frame
// rate, may repeat the first frame for it where a segment begins between two, and each frame would then be
// compared with its neighbour.
std::vector<std::string> segmentArguments(const Subject &subject, const Segment &segment,
                                          const std::filesystem::path &output);

// What makes the source's pictures those that the encode is compared with.
std::vector<std::string> referenceFilters(const Plan &plan);

// The filter graph that compares an encoded segment (input 0) with its source (input 1), up to the name
// of the comparing filter.
std::string comparisonGraph(const MediaInfo &info, const Plan &plan);

// Every how many frames are scored. A step that divides the distance between the encoder's P frames meets
// the same level of the frame pyramid every time and is biased: even ones with SVT-AV1, 5 with x265.
inline constexpr int subsamplingStep = 3;

} // namespace kestrel::Sampler
