#include "encoding/ResultCheck.h"

#include <algorithm>
#include <cmath>

#include <fmt/format.h>

#include "media/Tools.h"

namespace kestrel::ResultCheck {

namespace {

constexpr double mostOfOriginal = 0.95; // share of the original's size that a re-encode may keep
constexpr double checkedDuration = 30;  // seconds; shorter files are not checked for their duration
constexpr double durationTolerance = 3; // seconds, at least
constexpr double durationToleranceShare = 0.015;
constexpr double notedSeconds = 0.5,
                 notedShare = 0.001; // of the duration; a result shorter by this much is noted
constexpr double shapeTolerance = 0.01, sideTolerance = 2; // of the aspect ratio; pixels

std::string decimal(double value)
{
    std::string text = fmt::format("{:.2f}", value);
    std::replace(text.begin(), text.end(), '.', ',');
    return text;
}

std::string seconds(double value)
{
    constexpr double exactUpTo = 60;
    return value < exactUpTo ? decimal(value) : fmt::format("{:.0f}", value);
}

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
    const double time = source.playTime();
    if (time > checkedDuration && !isSameDuration(time, result.duration))
        throw ToolError::failed(fmt::format("Prüfung fehlgeschlagen: Laufzeit {:.0f} s statt {:.0f} s.",
                                            std::trunc(result.duration), std::trunc(time)));
    if (const auto fault = pictureFault(source, result, expected))
        throw ToolError::failed("Prüfung fehlgeschlagen: " + *fault);
}

std::optional<std::string> pictureFault(const MediaInfo &source, const MediaInfo &result,
                                        const Expected &expected)
{
    if (!expected.hasVideo || !source.video || !result.video)
        return std::nullopt;
    const VideoStreamInfo &before = *source.video, &after = *result.video;
    // Encoding turns the pictures themselves.
    const bool isTurnedAlike =
        expected.isVideoEncoded ? !after.isTurned()
                                : after.rotation == before.rotation && after.isMirrored == before.isMirrored;
    if (!isTurnedAlike)
        return "Das Bild ist anders gedreht als im Original.";
    if (!isSameShape(before, after))
        return fmt::format("Das Bild hat eine andere Form ({} statt {}).", decimal(after.seenAspect()),
                           decimal(before.seenAspect()));
    return std::nullopt;
}

std::optional<std::string> lengthNote(const MediaInfo &source, const MediaInfo &result)
{
    const double missing = source.playTime() - result.duration;
    if (missing <= std::max(notedSeconds, notedShare * source.playTime()))
        return std::nullopt;
    return fmt::format("Der Film ist {} s lang; der Container des Originals gab {} s an.",
                       seconds(result.duration), seconds(source.playTime()));
}

bool savesEnough(std::int64_t original, std::int64_t result, const Expected &expected)
{
    const auto before = static_cast<double>(original);
    const double limit = expected.isVideoEncoded ? before * mostOfOriginal : before - 1;
    return static_cast<double>(result) <= limit;
}

bool isSameShape(const VideoStreamInfo &source, const VideoStreamInfo &result)
{
    const double aspect = source.seenAspect(), seen = result.seenAspect();
    if (!(aspect > 0) || !(seen > 0))
        return true; // the shape cannot be determined
    if (std::abs(seen / aspect - 1) <= shapeTolerance)
        return true;
    const FrameSize size = result.seenSize();
    return std::abs(size.height * (seen - aspect)) <= sideTolerance ||
           std::abs(size.width * (1 / seen - 1 / aspect)) <= sideTolerance;
}

bool isSameDuration(double source, double result)
{
    return std::abs(source - result) <= std::max(source * durationToleranceShare, durationTolerance);
}

} // namespace kestrel::ResultCheck
