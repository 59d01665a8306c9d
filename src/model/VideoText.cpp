#include "model/VideoText.h"

#include <variant>

#include <fmt/format.h>

namespace kestrel {

std::string VideoText::whole() const
{
    return resolution.empty() ? brief() : resolution + " · " + brief();
}

std::string VideoText::brief() const
{
    return target.empty() ? source : source + " → " + target;
}

VideoText VideoText::of(const MediaInfo &info)
{
    VideoText text;
    if (!info.video) {
        text.source = "kein Video";
        return text;
    }
    const VideoStreamInfo &video = *info.video;
    text.resolution = video.resolutionClass();
    text.source = video.codecDisplay();
    if (video.isDolbyVision)
        text.source += " · DV";
    else if (video.isHDR())
        text.source += " · HDR";
    return text;
}

VideoText VideoText::of(const MediaInfo &info, const Plan &plan, const ConversionSettings &settings)
{
    VideoText text = of(info);
    if (const auto *copy = std::get_if<CopyVideo>(&plan.video))
        text.fate = copy->reason;
    if (!plan.encodesVideo() || !info.video)
        return text;
    text.target = shortName(settings.codec);
    text.quality = qualityLabel(settings.codec, plan.qualityValue);
    text.fate = fmt::format("wird neu kodiert: {}, {}", text.target, text.quality);
    if (plan.scales) {
        text.fate += fmt::format(", {}×{}", plan.outputWidth, plan.outputHeight);
        text.target = fmt::format("{}p {}", info.video->isOnItsSide() ? plan.outputWidth : plan.outputHeight,
                                  text.target);
    }
    if (plan.deinterlace)
        text.fate += ", Vollbilder";
    return text;
}

} // namespace kestrel
