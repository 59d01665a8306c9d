#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "media/MediaInfo.h"
#include "planning/Plan.h"

// Checks what a finished file must hold before it may take its source's place: for the job that made it, and
// again before an interrupted replacement is finished.
namespace kestrel::ResultCheck {

// Describes what a plan makes of its source; small enough to be stored beside the result.
struct Expected {
    bool hasVideo = false, isVideoEncoded = false;
    std::size_t audioTracks = 0;

    static Expected of(const Plan &plan);
    bool operator==(const Expected &) const = default;
};

// Throws ToolError with the German reason where the result is not whole.
void verify(const MediaInfo &source, const MediaInfo &result, const Expected &expected);

// Returns how the result's picture differs from its source's in turn or shape; German, absent where it does
// not.
std::optional<std::string> pictureFault(const MediaInfo &source, const MediaInfo &result,
                                        const Expected &expected);

// Returns what the user should know where a source ended earlier than its container states, though within
// what verify() accepts; German, absent where it did not.
std::optional<std::string> lengthNote(const MediaInfo &source, const MediaInfo &result);

// Returns whether a new picture saves a twentieth, or anything else one byte. Sizes are in bytes.
bool savesEnough(std::int64_t original, std::int64_t result, const Expected &expected);

// Returns whether the pictures, as they are seen, differ in shape by at most 1 %, or by two pixels a side.
bool isSameShape(const VideoStreamInfo &source, const VideoStreamInfo &result);

// Returns whether they differ by at most the larger of three seconds and 1.5 % of the source's duration; in
// seconds.
bool isSameDuration(double source, double result);

} // namespace kestrel::ResultCheck
