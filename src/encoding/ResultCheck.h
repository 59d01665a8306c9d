#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "media/MediaInfo.h"
#include "planning/Plan.h"

// What a finished file must hold before it may take its source's place: asked by the job that made it, and
// again before a replacement that was cut off is finished.
namespace kestrel::ResultCheck {

// What a plan makes of its source; small enough to be kept beside the result.
struct Expected {
    bool hasVideo = false, isVideoEncoded = false;
    std::size_t audioTracks = 0;

    static Expected of(const Plan &plan);
    bool operator==(const Expected &) const = default;
};

// Throws ToolError with the German reason where the result is not whole.
void verify(const MediaInfo &source, const MediaInfo &result, const Expected &expected);

// How the result's picture differs from its source's in turn or shape; German, absent where it does not.
std::optional<std::string> pictureFault(const MediaInfo &source, const MediaInfo &result,
                                        const Expected &expected);

// What the user is to know where a source ended earlier than its container says, though within what verify()
// accepts; German, absent where it did not.
std::optional<std::string> lengthNote(const MediaInfo &source, const MediaInfo &result);

// A new picture must save a twentieth, anything else one byte. Sizes in bytes.
bool savesEnough(std::int64_t original, std::int64_t result, const Expected &expected);

// The pictures, as they are seen, may differ in shape by 1 %, or by two pixels a side.
bool isSameShape(const VideoStreamInfo &source, const VideoStreamInfo &result);

// Within the larger of three seconds and 1.5 % of the source's duration; in seconds.
bool isSameDuration(double source, double result);

} // namespace kestrel::ResultCheck
