#pragma once

#include <optional>
#include <string>

#include "media/MediaInfo.h"
#include "media/Tools.h"
#include "planning/ConversionSettings.h"
#include "planning/Plan.h"
#include "planning/SampleResult.h"

// Decides what is done with every stream of a file. Pure.
namespace kestrel::Planner {

// States what the located ffmpeg can do, as far as plans depend on it.
struct Abilities {
    bool keepsTurnInMatroska = true; // see Tools
    bool operator==(const Abilities &) const = default;
};
Abilities abilities(const Tools &tools);

// `videoUnchanged` is the reason why measurements have shown that encoding this video is not worth it; it is
// then copied unless it must be scaled or deinterlaced.
Plan plan(const MediaInfo &info, const ConversionSettings &settings,
          const std::optional<std::string> &videoUnchanged, const Abilities &abilities = {});

// Returns the plan once the file's samples are known: encoded at the CRF that they found, or copied where the
// quality that was searched for would hardly save anything.
Plan planMeasured(const MediaInfo &info, const ConversionSettings &settings, const SampleResult &sample,
                  const Abilities &abilities = {});

// Returns the output frame as it is seen: the source's, or scaled down into the resolution's limits, even on
// both sides. A picture that lies on its side exchanges the limits.
FrameSize targetSize(const VideoStreamInfo &video, TargetResolution resolution);

} // namespace kestrel::Planner
