#include "encoding/PictureCheck.h"

#include <cmath>

#include <fmt/format.h>

namespace kestrel::PictureCheck {

namespace {

constexpr double shapeTolerance = 0.01, sideTolerance = 2; // pixels

bool isSameShape(double aspect, const VideoStreamInfo &result)
{
    const double seen = result.seenAspect();
    if (!(aspect > 0) || !(seen > 0))
        return true; // nobody can say
    if (std::abs(seen / aspect - 1) <= shapeTolerance)
        return true;
    // The frame as it would be with square pixels, one side kept.
    const FrameSize size = result.seenSize();
    return std::abs(size.height * (seen - aspect)) <= sideTolerance ||
           std::abs(size.width * (1 / seen - 1 / aspect)) <= sideTolerance;
}

} // namespace

std::optional<std::string> fault(const MediaInfo &source, const Plan &plan, const MediaInfo &result)
{
    if (!plan.hasVideo() || !source.video || !result.video)
        return std::nullopt;
    const VideoStreamInfo &before = *source.video, &after = *result.video;
    // Encoding turns the pictures themselves.
    const bool isTurnedAlike = plan.encodesVideo() ? !after.isTurned()
                                                   : after.rotation == before.rotation &&
                                                         after.isMirrored == before.isMirrored;
    if (!isTurnedAlike)
        return "Das Bild ist anders gedreht als im Original.";
    if (!isSameShape(before.seenAspect(), after))
        return fmt::format("Das Bild hat eine andere Form ({:.2f} statt {:.2f}).", after.seenAspect(),
                           before.seenAspect());
    return std::nullopt;
}

} // namespace kestrel::PictureCheck
