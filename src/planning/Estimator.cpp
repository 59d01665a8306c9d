#include "planning/Estimator.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "planning/Segment.h"
#include "platform/Enumeration.h"

namespace kestrel {

namespace {

struct CodecWeight {
    std::string_view codec;
    double weight; // bits needed for the same quality, H.264 = 1
};

constexpr std::array<CodecWeight, 17> codecWeights{{
    {"h264", 1.0},
    {"hevc", 0.62},
    {"mpeg2video", 2.0},
    {"mpeg4", 1.4},
    {"vp9", 0.65},
    {"av1", 0.55},
    {"mpeg1video", 2.4},
    {"msmpeg4v3", 1.6},
    {"msmpeg4v2", 1.7},
    {"wmv3", 1.3},
    {"wmv2", 1.6},
    {"vc1", 1.2},
    {"vp8", 1.1},
    {"mjpeg", 5.0},
    {"prores", 8.0},
    {"dvvideo", 4.0},
    {"rawvideo", 30.0},
}};
constexpr double otherCodecWeight = 1.3;

// Sources below this many bits per pixel, in H.264 terms, are assumed to shrink less.
constexpr double leanBitsPerPixel = 0.25, leanExponent = 0.6;
constexpr double scalingExponent = 0.75;
constexpr double mostOfSource = 1.2;

constexpr double copyBytesPerSecond = 4e8;
constexpr double containerShare = 0.004;
constexpr double leastThroughput = 1; // megapixels per second
// A quality search costs three trial encodes of every segment, and the scoring.
constexpr double searchTrials = 3, scoringFactor = 1.6;

double codecWeight(std::string_view codec)
{
    const auto *found = std::find_if(codecWeights.begin(), codecWeights.end(),
                                     [&](const CodecWeight &row) { return row.codec == codec; });
    return found == codecWeights.end() ? otherCodecWeight : found->weight;
}

double sampledSeconds(double duration)
{
    double sum = 0;
    for (const Segment &segment : Sampler::segments(duration))
        sum += segment.length;
    return sum;
}

struct Factors {
    std::optional<double> content, speed;
};

void estimateEncode(SizeEstimate &estimate, const MediaInfo &info, const Plan &plan,
                    const ConversionSettings &settings, const SampleResult *sample, const Factors &factors)
{
    using Kind = SizeEstimate::Kind;
    const double fps = info.video ? info.video->effectiveFps() : 25.0;
    const double pixels = static_cast<double>(plan.outputWidth) * plan.outputHeight;
    const double megapixels = info.playTime() * fps * pixels / 1e6;
    double bitrate = 0;
    if (sample != nullptr) {
        bitrate = sample->videoBitrate;
        estimate.vmaf = sample->vmafMean;
        estimate.kind = Kind::measured;
        estimate.encodeSeconds = megapixels / std::max(sample->megapixelsPerSecond, leastThroughput);
    } else {
        bitrate = factors.content.value_or(1.0) * Estimator::heuristicVideoBitrate(info, plan, settings);
        estimate.kind = factors.content ? Kind::calibrated : Kind::heuristic;
        const double speed = std::max(
            factors.speed.value_or(1.0) * throughput(settings.codec, SpeedLevel::normal), leastThroughput);
        const double searched = fps * (searchTrials * sampledSeconds(info.playTime())) * pixels / 1e6;
        estimate.encodeSeconds = megapixels / speed + searched / speed * scoringFactor;
    }
    estimate.videoBytes = info.playTime() * bitrate * 0.125;
}

} // namespace

std::string_view id(SizeEstimate::Kind kind)
{
    constexpr std::array<std::string_view, 4> names{"heuristic", "calibrated", "measured", "exact"};
    static_assert(names.size() == caseCount<SizeEstimate::Kind>);
    return names[static_cast<std::size_t>(kind)];
}

std::string_view label(SizeEstimate::Kind kind)
{
    constexpr std::array<std::string_view, 4> labels{"grob geschätzt", "hochgerechnet aus Stichproben",
                                                     "gemessen", "genau"};
    static_assert(labels.size() == caseCount<SizeEstimate::Kind>);
    return labels[static_cast<std::size_t>(kind)];
}

double Estimator::heuristicVideoBitrate(const MediaInfo &info, int outputWidth, int outputHeight,
                                        const ConversionSettings &settings)
{
    if (!info.video || info.video->width < 1 || info.video->height < 1)
        return 0;
    const VideoStreamInfo &video = *info.video;
    const double source = info.videoBitrate();
    const double weight = codecWeight(video.codec);
    const double sourcePixels = static_cast<double>(video.width) * video.height;
    const double outputPixels = static_cast<double>(outputWidth) * outputHeight;

    const double bitsPerPixel = source / (video.effectiveFps() * sourcePixels) / weight;
    const double base = bitsPerPixel <= 0.0001 ? 1.0 : std::min(leanBitsPerPixel / bitsPerPixel, 1.0);
    double estimate = std::pow(base, leanExponent) * (source / weight * referenceRatio(settings.quality)) *
                      efficiency(settings.codec, SpeedLevel::normal);
    if (outputPixels >= 1 && outputPixels < sourcePixels)
        estimate *= std::pow(outputPixels / sourcePixels, scalingExponent);
    return std::min(source * mostOfSource, estimate);
}

double Estimator::heuristicVideoBitrate(const MediaInfo &info, const Plan &plan,
                                        const ConversionSettings &settings)
{
    return heuristicVideoBitrate(info, plan.outputWidth, plan.outputHeight, settings);
}

SizeEstimate Estimator::estimate(const MediaInfo &info, const Plan &plan, const ConversionSettings &settings,
                                 const SampleResult *sample, std::optional<double> contentFactor,
                                 std::optional<double> speedFactor)
{
    SizeEstimate estimate;
    estimate.kind = SizeEstimate::Kind::exact;
    if (plan.isNoop) {
        estimate.videoBytes = static_cast<double>(info.fileSize);
        return estimate;
    }

    estimate.encodeSeconds = static_cast<double>(info.fileSize) / copyBytesPerSecond;
    if (plan.encodesVideo())
        estimateEncode(estimate, info, plan, settings, sample, {contentFactor, speedFactor});
    else if (plan.hasVideo())
        estimate.videoBytes = info.playTime() * info.videoBitrate() * 0.125;

    double audioRate = 0;
    for (const auto &decision : plan.audio)
        audioRate += decision.outputBitrate();
    estimate.audioBytes = info.playTime() * audioRate * 0.125;

    estimate.otherBytes = (estimate.videoBytes + estimate.audioBytes) * containerShare;
    for (const auto &decision : plan.subtitles)
        if (decision.action != StreamAction::drop)
            estimate.otherBytes += decision.stream.estimatedBytes(info.playTime());
    return estimate;
}

std::optional<double> Estimator::median(std::vector<double> values)
{
    if (values.empty())
        return std::nullopt;
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

} // namespace kestrel
