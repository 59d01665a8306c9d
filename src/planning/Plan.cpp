#include "planning/Plan.h"

#include <fmt/format.h>

namespace kestrel {

namespace {

template <typename Decision>
std::vector<const Decision *> kept(const std::vector<Decision> &decisions)
{
    std::vector<const Decision *> result;
    for (const auto &decision : decisions)
        if (decision.action != StreamAction::drop)
            result.push_back(&decision);
    return result;
}

} // namespace

double AudioDecision::outputBitrate() const
{
    switch (action) {
    case StreamAction::keep:
        return stream.effectiveBitrate();
    case StreamAction::convert:
        return targetBitrate;
    case StreamAction::drop:
        break;
    }
    return 0;
}

std::vector<const AudioDecision *> Plan::keptAudio() const
{
    return kept(audio);
}

std::vector<const SubtitleDecision *> Plan::keptSubtitles() const
{
    return kept(subtitles);
}

std::optional<std::string> Plan::deinterlaceFilter() const
{
    return deinterlace ? std::optional<std::string>("bwdif=mode=send_frame:parity=auto:deint=interlaced")
                       : std::nullopt;
}

std::vector<std::string> Plan::videoFilters() const
{
    std::vector<std::string> filters;
    if (const auto filter = deinterlaceFilter())
        filters.push_back(*filter);
    if (scales)
        filters.push_back(fmt::format("scale={}:{}:flags=lanczos", outputWidth, outputHeight));
    return filters;
}

} // namespace kestrel
