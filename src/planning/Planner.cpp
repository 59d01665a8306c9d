#include "planning/Planner.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string_view>

#include <fmt/format.h>

#include "media/Language.h"
#include "planning/Estimator.h"
#include "platform/Text.h"

namespace kestrel::Planner {

namespace {

using std::string_view;

constexpr std::array<string_view, 8> mkvSubtitleCodecs{
    "subrip", "srt", "ass", "ssa", "hdmv_pgs_subtitle", "dvd_subtitle", "dvb_subtitle", "webvtt"};
constexpr std::array<string_view, 7> mp4AudioCodecs{"aac", "ac3", "eac3", "mp3", "alac", "opus", "flac"};

constexpr int sizeTolerance = 16; // pixels over the limit that are not worth scaling
// A re-encode is worth it only below this share of the source's bitrate.
constexpr double sameCodecShare = 0.75, otherCodecShare = 0.9;

// Gives the bitrate of E-AC3 by the number of source channels, from the most.
struct SurroundRate {
    int channels; // at least
    int bitrate;  // bits per second
};
constexpr std::array<SurroundRate, 3> surroundRates{{{6, 640'000}, {3, 448'000}, {0, 224'000}}};
constexpr int mostChannels = 6;

constexpr string_view copied = "wird kopiert";
constexpr string_view untouched = "bleibt unverändert"; // in a file that is left alone
constexpr string_view impossibleInMp4 = "in MP4 nicht möglich → E-AC3";

template <std::size_t Size>
bool holds(const std::array<string_view, Size> &list, string_view value)
{
    return std::find(list.begin(), list.end(), value) != list.end();
}

void copyVideo(Plan &plan, const VideoStreamInfo &video, std::string reason)
{
    plan.video = CopyVideo{std::move(reason)};
    plan.outputWidth = video.width;
    plan.outputHeight = video.height;
    plan.scales = false;
}

// Returns why encoding would hardly save anything; absent where it saves enough.
std::optional<std::string> notWorthEncoding(const MediaInfo &info, FrameSize target,
                                            const ConversionSettings &settings)
{
    const double bitrate = info.videoBitrate();
    if (!(bitrate > 0))
        return std::nullopt;
    const double heuristic = Estimator::heuristicVideoBitrate(info, target.width, target.height, settings);
    if (info.video->codec == outputCodec(settings.codec)) {
        if (bitrate * sameCodecShare <= heuristic)
            return fmt::format("bereits {} in passender Qualität – bleibt unverändert",
                               info.video->codecDisplay());
    } else if (bitrate * otherCodecShare <= heuristic) {
        return "Neukodieren würde kaum Platz sparen – bleibt unverändert";
    }
    return std::nullopt;
}

void planVideo(Plan &plan, const MediaInfo &info, const ConversionSettings &settings,
               const std::optional<std::string> &videoUnchanged)
{
    if (!info.video)
        return;
    const VideoStreamInfo &video = *info.video;
    const FrameSize target = targetSize(video, settings.resolution);
    plan.scales = target != video.seenSize();
    const bool needsWork = plan.scales || video.isInterlaced();

    if (settings.codec == VideoCodecChoice::keepVideo)
        return copyVideo(plan, video, "Video bleibt unverändert");
    if (!needsWork && videoUnchanged)
        return copyVideo(plan, video, *videoUnchanged);
    if (!needsWork)
        if (auto reason = notWorthEncoding(info, target, settings))
            return copyVideo(plan, video, std::move(*reason));

    plan.video = EncodeVideo{};
    plan.outputWidth = target.width;
    plan.outputHeight = target.height;
    plan.deinterlace = video.isInterlaced();
    if (plan.deinterlace)
        plan.notes.emplace_back("Video ist im Zeilensprungverfahren (interlaced) und wird dabei sauber in "
                                "Vollbilder umgewandelt.");
    if (video.isDolbyVision)
        plan.notes.emplace_back("Dolby Vision geht beim Neukodieren verloren (HDR10 bleibt).");
}

using Streams = std::vector<const AudioStreamInfo *>;

// Returns the position, among all audio tracks, of the one that is kept where none states its language.
std::size_t defaultTrack(const std::vector<AudioStreamInfo> &audio)
{
    const auto isUnknown = [](const AudioStreamInfo &s) { return s.language == Language::unknown; };
    auto found =
        std::find_if(audio.begin(), audio.end(), [&](const auto &s) { return isUnknown(s) && s.isDefault; });
    if (found == audio.end())
        found = std::find_if(audio.begin(), audio.end(), isUnknown);
    return static_cast<std::size_t>(found - audio.begin());
}

Streams selectAudio(Plan &plan, const MediaInfo &info, const ConversionSettings &settings)
{
    Streams wanted, all;
    bool someUnknown = false;
    for (const auto &stream : info.audio) {
        all.push_back(&stream);
        someUnknown = someUnknown || stream.language == Language::unknown;
        if (settings.audioLanguages.contains(stream.language) &&
            !(settings.dropCommentary && stream.isCommentary))
            wanted.push_back(&stream);
    }
    if (!wanted.empty() || info.audio.empty())
        return wanted;
    if (settings.unknownAudio == UnknownAudioPolicy::keepDefault && someUnknown && info.audio.size() >= 2) {
        const std::size_t track = defaultTrack(info.audio);
        plan.notes.push_back(fmt::format(
            "Tonspuren ohne Sprachkennung: behalten wird nur die Standardspur (Spur {}). Per Probeclip "
            "anhören, ob es die richtige Sprache ist.",
            track + 1));
        return {all[track]};
    }
    plan.notes.emplace_back(
        someUnknown ? "Tonspuren ohne Sprachkennung – alle bleiben erhalten."
                    : "Keine Tonspur in den gewählten Sprachen – alle Tonspuren bleiben erhalten.");
    return all;
}

std::string dropReason(const AudioStreamInfo &stream, const ConversionSettings &settings)
{
    if (stream.language == Language::unknown)
        return "ohne Sprachkennung, nicht Standardspur";
    if (settings.audioLanguages.contains(stream.language))
        return "Kommentar/Audiodeskription";
    return Language::name(stream.language) + " nicht gewählt";
}

AudioDecision decideKept(const AudioStreamInfo &stream, const ConversionSettings &settings)
{
    const bool incompatible =
        settings.container == OutputContainer::mp4 && !holds(mp4AudioCodecs, stream.codec);
    const bool shrink = settings.convertLosslessAudio && stream.isLossless();
    AudioDecision decision{stream, StreamAction::keep, std::string(copied), 0, std::nullopt};
    if (!incompatible && !shrink)
        return decision;

    decision.action = StreamAction::convert;
    decision.targetBitrate =
        std::find_if(surroundRates.begin(), surroundRates.end(), [&](const SurroundRate &rate) {
            return stream.channels >= rate.channels || rate.channels == 0;
        })->bitrate;
    if (stream.channels > mostChannels)
        decision.targetChannels = mostChannels;
    decision.reason = incompatible
                          ? std::string(impossibleInMp4)
                          : fmt::format("verlustfrei → E-AC3 {} kbit/s", decision.targetBitrate / 1000);
    return decision;
}

void planAudio(Plan &plan, const MediaInfo &info, const ConversionSettings &settings)
{
    const Streams kept = selectAudio(plan, info, settings);
    for (const auto &stream : info.audio) {
        const bool isKept = std::find(kept.begin(), kept.end(), &stream) != kept.end();
        plan.audio.push_back(isKept ? decideKept(stream, settings)
                                    : AudioDecision{stream, StreamAction::drop, dropReason(stream, settings),
                                                    0, std::nullopt});
    }
}

SubtitleDecision decideSubtitle(const SubtitleStreamInfo &stream, OutputContainer container)
{
    const auto keep = [&] { return SubtitleDecision{stream, StreamAction::keep, std::string(copied), {}}; };
    if (container == OutputContainer::mp4) {
        if (stream.codec == "mov_text")
            return keep();
        if (stream.isText())
            return {stream, StreamAction::convert, "→ MP4-Text", "mov_text"};
        return {stream, StreamAction::drop, "Bilduntertitel in MP4 nicht möglich", {}};
    }
    if (holds(mkvSubtitleCodecs, stream.codec))
        return keep();
    if (stream.codec == "mov_text")
        return {stream, StreamAction::convert, "→ SRT", "srt"};
    return {
        stream, StreamAction::drop, fmt::format("Format {} in MKV nicht möglich", stream.codecDisplay()), {}};
}

// Fonts are useful only to styled subtitles.
void planAttachments(Plan &plan, const MediaInfo &info, const ConversionSettings &settings)
{
    const bool styled =
        std::any_of(plan.subtitles.begin(), plan.subtitles.end(), [](const SubtitleDecision &decision) {
            return decision.action != StreamAction::drop &&
                   (decision.stream.codec == "ass" || decision.stream.codec == "ssa");
        });
    if (settings.container == OutputContainer::mkv && info.isMatroska() && styled)
        plan.attachments = info.attachmentIndexes;
}

bool matchesContainer(const MediaInfo &info, OutputContainer container)
{
    const std::string extension = Text::lower(info.url.extension().native());
    return container == OutputContainer::mkv ? extension == ".mkv"
                                             : extension == ".mp4" || extension == ".m4v";
}

bool changesNothing(const Plan &plan, const MediaInfo &info, const ConversionSettings &settings)
{
    const auto isKept = [](const auto &decision) { return decision.action == StreamAction::keep; };
    return std::all_of(plan.audio.begin(), plan.audio.end(), isKept) &&
           std::all_of(plan.subtitles.begin(), plan.subtitles.end(), isKept) && !plan.encodesVideo() &&
           matchesContainer(info, settings.container) &&
           plan.attachments.size() == info.attachmentIndexes.size();
}

// Returns what prevents this film from being seen and heard as before; German, absent where nothing does.
std::optional<std::string> reasonToLeaveAlone(const MediaInfo &info, const Plan &plan,
                                              const ConversionSettings &settings, const Abilities &abilities)
{
    if (info.duration > 0 && !(info.playTime() > 0))
        return "Die angegebene Laufzeit kann nicht stimmen, und die wirkliche ist nicht feststellbar";
    if (!info.video)
        return std::nullopt;
    const VideoStreamInfo &video = *info.video;
    if (info.hasSeveralFilms)
        return "Die Datei enthält mehrere Filme";
    if (info.cut == Cut::rearranged)
        return "Der Film ist aus Stücken zusammengesetzt (Schnittliste)";
    if (video.hasDoubtfulTurn)
        return "Wie das Bild gedreht gehört, ist nicht eindeutig angegeben";
    if (plan.encodesVideo())
        return plan.deinterlace && video.isTurned()
                   ? std::optional<std::string>("Das Bild ist gedreht und im Zeilensprungverfahren")
                   : std::nullopt;
    if (info.cut == Cut::picture)
        return "Der Film ist geschnitten (Schnittliste), und eine Kopie brächte das Weggeschnittene zurück";
    if (video.isTurned() && settings.container == OutputContainer::mkv && !abilities.keepsTurnInMatroska)
        return "Das Bild ist gedreht, und dieses ffmpeg kann das in MKV nicht vermerken";
    return std::nullopt;
}

Plan leftAlone(const MediaInfo &info, const ConversionSettings &settings, const std::string &reason)
{
    Plan plan;
    plan.qualityValue = qualityValue(settings.codec, settings.quality);
    if (info.video)
        copyVideo(plan, *info.video, reason);
    for (const auto &stream : info.audio)
        plan.audio.push_back({stream, StreamAction::keep, std::string(untouched), 0, std::nullopt});
    for (const auto &stream : info.subtitles)
        plan.subtitles.push_back({stream, StreamAction::keep, std::string(untouched), {}});
    plan.attachments = info.attachmentIndexes;
    plan.isNoop = true;
    plan.leftAlone = reason;
    return plan;
}

} // namespace

Abilities abilities(const Tools &tools)
{
    return {tools.keepsTurnInMatroska};
}

Plan plan(const MediaInfo &info, const ConversionSettings &settings,
          const std::optional<std::string> &videoUnchanged, const Abilities &abilities)
{
    Plan plan;
    plan.qualityValue = qualityValue(settings.codec, settings.quality);
    planVideo(plan, info, settings, videoUnchanged);
    planAudio(plan, info, settings);
    for (const auto &stream : info.subtitles)
        plan.subtitles.push_back(decideSubtitle(stream, settings.container));
    planAttachments(plan, info, settings);
    plan.isNoop = changesNothing(plan, info, settings);
    if (const auto reason = reasonToLeaveAlone(info, plan, settings, abilities); reason && !plan.isNoop)
        return leftAlone(info, settings, fmt::format("{} – {}", *reason, untouched));
    return plan;
}

Plan planMeasured(const MediaInfo &info, const ConversionSettings &settings, const SampleResult &sample,
                  const Abilities &abilities)
{
    const bool hardlySaves = sample.vmafTarget && sample.hardlySaves(info.videoBitrate());
    Plan result = plan(info, settings,
                       hardlySaves ? std::optional<std::string>(measuredUnchanged) : std::nullopt, abilities);
    if (result.encodesVideo()) // also where it must be scaled or deinterlaced whatever it saves
        result.qualityValue = sample.qualityValue;
    return result;
}

FrameSize targetSize(const VideoStreamInfo &video, TargetResolution resolution)
{
    const FrameSize source = video.seenSize();
    auto limit = maxSize(resolution);
    if (limit && video.isOnItsSide())
        std::swap(limit->width, limit->height);
    if (!limit ||
        (source.width <= limit->width + sizeTolerance && source.height <= limit->height + sizeTolerance))
        return source;
    const double factor = std::min(static_cast<double>(limit->width) / source.width,
                                   static_cast<double>(limit->height) / source.height);
    const auto scaled = [&](int side) { return static_cast<int>(std::round(factor * side * 0.5)) * 2; };
    return {scaled(source.width), scaled(source.height)};
}

} // namespace kestrel::Planner
