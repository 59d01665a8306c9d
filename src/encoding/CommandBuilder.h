#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "media/MediaInfo.h"
#include "planning/ConversionSettings.h"
#include "planning/Plan.h"
#include "planning/Segment.h"

// Turns a plan into ffmpeg's arguments (see ffmpeg(1)). The functions are pure and run nothing.
namespace kestrel::CommandBuilder {

using Segment = kestrel::Segment;

enum class Streams { all, videoOnly };

// Returns the whole list, without the program. With a segment, ffmpeg reads only that stretch and carries no
// chapters over.
std::vector<std::string> arguments(const MediaInfo &info, const Plan &plan,
                                   const ConversionSettings &settings, const std::filesystem::path &output,
                                   const std::optional<Segment> &segment, Streams streams);

// Returns the arguments that choose and set the video encoder.
std::vector<std::string> encoderArguments(VideoCodecChoice codec, int qualityValue, SpeedLevel speed,
                                          const VideoStreamInfo &source, OutputContainer container);

// Formats seconds with three decimals.
std::string format(double seconds);

// Returns a path as the value of a filter's option: escaped once for the option and once for the graph around
// it (ffmpeg-filters(1), "Notes on filtergraph escaping").
std::string filterValue(const std::filesystem::path &path);

// Returns one line for the log, which can be pasted into a shell in most cases.
std::string displayString(const std::string &executable, const std::vector<std::string> &arguments);

} // namespace kestrel::CommandBuilder
