#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "media/MediaInfo.h"
#include "planning/ConversionSettings.h"
#include "planning/Plan.h"
#include "planning/Segment.h"

// Turns a plan into ffmpeg's arguments (see ffmpeg(1)). Pure; nothing is run.
namespace kestrel::CommandBuilder {

using Segment = kestrel::Segment;

enum class Streams { all, videoOnly };

// The whole list, without the program. With a segment only that stretch is read, and no chapters are
// carried over.
std::vector<std::string> arguments(const MediaInfo &info, const Plan &plan,
                                   const ConversionSettings &settings, const std::filesystem::path &output,
                                   const std::optional<Segment> &segment, Streams streams);

// The part that chooses and sets the video encoder.
std::vector<std::string> encoderArguments(VideoCodecChoice codec, int qualityValue, SpeedLevel speed,
                                          const VideoStreamInfo &source, OutputContainer container);

// Seconds with three decimals.
std::string format(double seconds);

// A path as the value of a filter's option: escaped once for the option and once for the graph around it
// (ffmpeg-filters(1), "Notes on filtergraph escaping").
std::string filterValue(const std::filesystem::path &path);

// One line that can be pasted into a shell in most cases; for the log.
std::string displayString(const std::string &executable, const std::vector<std::string> &arguments);

} // namespace kestrel::CommandBuilder
