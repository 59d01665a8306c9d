#include "encoding/ResultCheck.h"

#include <algorithm>
#include <cmath>

#include <fmt/format.h>

#include "media/Tools.h"

namespace kestrel::ResultCheck {

namespace {

constexpr double mostOfOriginal = 0.95; // what a re-encode may keep of the original's size
constexpr double checkedDuration = 30;  // seconds; shorter files are not checked for their duration
constexpr double durationTolerance = 3; // seconds, at least
constexpr double durationToleranceShare = 0.015;

} // namespace

Expected Expected::of(const Plan &plan)
{
    return {plan.hasVideo(), plan.encodesVideo(), plan.keptAudio().size()};
}

void verify(const MediaInfo &source, const MediaInfo &result, const Expected &expected)
{
    if (expected.hasVideo && !result.video)
        throw ToolError::failed("Prüfung fehlgeschlagen: Videospur fehlt.");
    if (result.audio.size() != expected.audioTracks)
        throw ToolError::failed(fmt::format("Prüfung fehlgeschlagen: {} statt {} Tonspuren.",
                                            result.audio.size(), expected.audioTracks));
    if (source.duration <= checkedDuration)
        return;
    if (!isSameDuration(source.duration, result.duration))
        throw ToolError::failed(fmt::format("Prüfung fehlgeschlagen: Laufzeit {:.0f} s statt {:.0f} s.",
                                            std::trunc(result.duration), std::trunc(source.duration)));
}

bool savesEnough(std::int64_t original, std::int64_t result, const Expected &expected)
{
    const auto before = static_cast<double>(original);
    const double limit = expected.isVideoEncoded ? before * mostOfOriginal : before - 1;
    return static_cast<double>(result) <= limit;
}

bool isSameDuration(double source, double result)
{
    return std::abs(source - result) <= std::max(source * durationToleranceShare, durationTolerance);
}

} // namespace kestrel::ResultCheck
