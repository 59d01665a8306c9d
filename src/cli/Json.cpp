#include "cli/Json.h"

#include <optional>

#include <fmt/format.h>

#include "encoding/CommandBuilder.h"
#include "encoding/ConversionJob.h"
#include "platform/JsonText.h"
#include "platform/Text.h"
#include "platform/Timestamp.h"

namespace kestrel::Json {

namespace {

template <typename Type>
Value orNull(const std::optional<Type> &value)
{
    return value ? Value(*value) : Value();
}

const char *name(StreamAction action)
{
    switch (action) {
    case StreamAction::keep:
        return "keep";
    case StreamAction::convert:
        return "convert";
    case StreamAction::drop:
        break;
    }
    return "drop";
}

Value value(const VideoStreamInfo &video)
{
    return {
        {"index", video.index},
        {"codec", video.codec},
        {"profile", orNull(video.profile)},
        {"width", video.width},
        {"height", video.height},
        {"fps", video.fps},
        {"pixFmt", orNull(video.pixFmt)},
        {"bitDepth", video.bitDepth},
        {"fieldOrder", orNull(video.fieldOrder)},
        {"colorTransfer", orNull(video.colorTransfer)},
        {"colorPrimaries", orNull(video.colorPrimaries)},
        {"colorSpace", orNull(video.colorSpace)},
        {"bitrate", orNull(video.bitrate)},
        {"isDolbyVision", video.isDolbyVision},
        {"codecDisplay", video.codecDisplay()},
        {"resolutionClass", video.resolutionClass()},
        {"isHDR", video.isHDR()},
        {"isInterlaced", video.isInterlaced()},
        {"rotation", video.rotation},
        {"isMirrored", video.isMirrored},
        {"seenWidth", video.seenSize().width},
        {"seenHeight", video.seenSize().height},
    };
}

Value value(const AudioStreamInfo &audio)
{
    return {
        {"index", audio.index},
        {"codec", audio.codec},
        {"profile", orNull(audio.profile)},
        {"channels", audio.channels},
        {"language", audio.language},
        {"title", orNull(audio.title)},
        {"bitrate", orNull(audio.bitrate)},
        {"sampleRate", orNull(audio.sampleRate)},
        {"isDefault", audio.isDefault},
        {"isForced", audio.isForced},
        {"isCommentary", audio.isCommentary},
        {"codecDisplay", audio.codecDisplay()},
        {"isLossless", audio.isLossless()},
        {"effectiveBitrate", audio.effectiveBitrate()},
    };
}

Value value(const SubtitleStreamInfo &subtitle)
{
    return {
        {"index", subtitle.index},
        {"codec", subtitle.codec},
        {"language", subtitle.language},
        {"title", orNull(subtitle.title)},
        {"isForced", subtitle.isForced},
        {"isDefault", subtitle.isDefault},
        {"byteSize", orNull(subtitle.byteSize)},
        {"codecDisplay", subtitle.codecDisplay()},
    };
}

Value value(const VideoAction &action)
{
    if (const auto *copy = std::get_if<CopyVideo>(&action))
        return {{"action", "copy"}, {"reason", copy->reason}};
    const bool encodes = std::holds_alternative<EncodeVideo>(action);
    return {{"action", encodes ? "encode" : "none"}, {"reason", nullptr}};
}

Value value(const AudioDecision &decision)
{
    return {
        {"index", decision.stream.index},          {"language", decision.stream.language},
        {"action", name(decision.action)},         {"reason", decision.reason},
        {"targetBitrate", decision.targetBitrate}, {"targetChannels", orNull(decision.targetChannels)},
    };
}

Value value(const SubtitleDecision &decision)
{
    return {
        {"index", decision.stream.index},
        {"language", decision.stream.language},
        {"action", name(decision.action)},
        {"reason", decision.reason},
        {"targetCodec", orNull(decision.targetCodec)},
    };
}

Value value(const Sampler::Step &step)
{
    return {
        {"value", step.value},
        {"bitrate", step.bitrate},
        {"vmaf", orNull(step.vmaf)},
        {"vmafWorst", orNull(step.vmafWorst)},
        {"megapixelsPerSecond", step.megapixelsPerSecond},
        {"seconds", step.seconds},
    };
}

template <typename Records>
Value list(const Records &records)
{
    Value result = Value::array();
    for (const auto &record : records)
        result.push_back(value(record));
    return result;
}

} // namespace

Value text(const std::filesystem::path &path)
{
    return Text::shown(path);
}

Value value(const StorageLocation &location)
{
    return {
        {"kind", id(location.kind)},
        {"title", location.title()},
        {"volumeName", location.volumeName},
        {"remoteURL", orNull(location.remoteURL)},
        {"hasRecycleBin", location.hasRecycleBin},
    };
}

Value value(const MediaInfo &info)
{
    return {
        {"url", text(info.url)},
        {"fileSize", info.fileSize},
        {"modified", timestamp(info.modified)},
        {"duration", info.duration},
        {"formatName", info.formatName},
        {"video", info.video ? value(*info.video) : Value()},
        {"audio", list(info.audio)},
        {"subtitles", list(info.subtitles)},
        {"attachmentIndexes", info.attachmentIndexes},
        {"videoBitrate", info.videoBitrate()},
    };
}

Value value(const Plan &plan)
{
    return {
        {"video", value(plan.video)},
        {"outputWidth", plan.outputWidth},
        {"outputHeight", plan.outputHeight},
        {"deinterlace", plan.deinterlace},
        {"audio", list(plan.audio)},
        {"subtitles", list(plan.subtitles)},
        {"attachments", plan.attachments},
        {"notes", plan.notes},
        {"isNoop", plan.isNoop},
        {"leftAlone", orNull(plan.leftAlone)},
        {"scales", plan.scales},
        {"qualityValue", plan.qualityValue},
    };
}

Value value(const SizeEstimate &estimate)
{
    return {
        {"videoBytes", estimate.videoBytes}, {"audioBytes", estimate.audioBytes},
        {"otherBytes", estimate.otherBytes}, {"kind", id(estimate.kind)},
        {"vmaf", orNull(estimate.vmaf)},     {"encodeSeconds", estimate.encodeSeconds},
        {"total", estimate.total()},
    };
}

Value value(const SampleResult &result)
{
    return {
        {"videoBitrate", result.videoBitrate},
        {"vmafMean", orNull(result.vmafMean)},
        {"vmafWorst", orNull(result.vmafWorst)},
        {"megapixelsPerSecond", result.megapixelsPerSecond},
        {"measuredSeconds", result.measuredSeconds},
        {"heuristicBitrate", result.heuristicBitrate},
        {"qualityValue", result.qualityValue},
        {"vmafTarget", orNull(result.vmafTarget)},
        {"steps", list(result.steps)},
    };
}

Value value(const Totals &totals)
{
    return {
        {"files", totals.files},
        {"actionable", totals.actionable},
        {"sourceBytes", totals.sourceBytes},
        {"estimatedBytes", totals.estimatedBytes},
        {"encodeSeconds", totals.encodeSeconds},
        {"duration", totals.duration},
        {"weakestKind", totals.weakestKind ? Value(id(*totals.weakestKind)) : Value()},
        {"incomplete", totals.incomplete},
        {"errors", totals.errors},
    };
}

Value value(const FileItem &file, const ConversionSettings &settings, const std::filesystem::path &root)
{
    Value arguments;
    if (file.plan && !file.plan->isNoop) {
        const auto output = ConversionJob::temporaryURL(file.url, settings, root);
        arguments = Value::array();
        for (const auto &argument : CommandBuilder::arguments(*file.info, *file.plan, settings, output,
                                                              std::nullopt, CommandBuilder::Streams::all))
            arguments.push_back(Text::repaired(argument));
    }
    return {
        {"relativePath", text(file.relativePath)},
        {"probeError", orNull(file.probeError)},
        {"mayBeIncomplete", file.mayBeIncomplete},
        {"info", file.info ? value(*file.info) : Value()},
        {"plan", file.plan ? value(*file.plan) : Value()},
        {"estimate", file.estimate ? value(*file.estimate) : Value()},
        {"arguments", arguments},
    };
}

std::string line(const Value &value)
{
    return JsonText::dumpRepaired(value);
}

} // namespace kestrel::Json
