#include "ui/detail/TrackText.h"

#include <QStringList>
#include <algorithm>
#include <array>
#include <cmath>
#include <string_view>

#include "format/Fmt.h"
#include "media/Language.h"
#include "model/VideoText.h"
#include "platform/Enumeration.h"
#include "ui/detail/DetailText.h"
#include "ui/look/Strings.h"
#include "ui/table/RowText.h"

namespace kestrel::TrackText {

namespace {

using DetailText::line;
using Theme::Tone;

constexpr qsizetype longestTitle = 120; // characters of a track's title

struct ActionLook {
    StreamAction action;
    std::string_view word, icon;
    Tone tone;
};

constexpr std::array<ActionLook, 3> actionLooks{{
    {StreamAction::keep, "behalten", "check", Tone::green},
    {StreamAction::convert, "umwandeln", "arrow-right", Tone::accent},
    {StreamAction::drop, "entfernen", "close", Tone::muted},
}};
static_assert(coversEveryCase(actionLooks, &ActionLook::action));

const ActionLook &lookOf(StreamAction action)
{
    return *std::find_if(actionLooks.begin(), actionLooks.end(),
                         [action](const ActionLook &look) { return look.action == action; });
}

// Returns "25", "23,976".
QString frameRate(double fps)
{
    QString digits = qt(Fmt::number(fps, 3));
    while (digits.endsWith(QLatin1Char('0')))
        digits.chop(1);
    if (digits.endsWith(QLatin1Char(',')))
        digits.chop(1);
    return digits;
}

QString frameSize(int width, int height)
{
    return width > 0 && height > 0 ? QStringLiteral("%1×%2").arg(width).arg(height) : QString();
}

QString rate(const std::optional<std::int64_t> &bitsPerSecond)
{
    return bitsPerSecond && *bitsPerSecond >= 1 ? qt(Fmt::bitrate(static_cast<double>(*bitsPerSecond)))
                                                : QString();
}

QString layout(int channels)
{
    if (channels < 1)
        return {};
    constexpr int mostNamed = 8;
    return channels <= mostNamed ? RowText::channels(channels) : QStringLiteral("%1 Kanäle").arg(channels);
}

QString title(const std::optional<std::string> &title)
{
    QString shown = title ? line(*title).simplified() : QString();
    if (shown.isEmpty())
        return {};
    if (shown.size() > longestTitle)
        shown = shown.left(longestTitle - 1) + QStringLiteral("…");
    return QStringLiteral("„%1“").arg(shown);
}

QString dynamicRange(const VideoStreamInfo &video)
{
    if (!video.isHDR())
        return {};
    return video.colorTransfer == "smpte2084" ? QStringLiteral("HDR (PQ)") : QStringLiteral("HDR (HLG)");
}

QString turn(const VideoStreamInfo &video)
{
    if (video.hasDoubtfulTurn)
        return QStringLiteral("vielleicht gedreht");
    if (video.rotation == 0)
        return QStringLiteral("gespiegelt");
    const QString angle = QStringLiteral("um %1° gedreht").arg(video.rotation);
    return video.isMirrored ? QStringLiteral("gespiegelt und ") + angle : angle;
}

Track describe(const VideoStreamInfo &video)
{
    QStringList head, details;
    head.push_back(line(video.codecDisplay()));
    const FrameSize seen = video.seenSize();
    head.push_back(frameSize(seen.width, seen.height));
    if (video.isTurned())
        details.push_back(turn(video));
    if (video.fps > 0 && std::isfinite(video.fps))
        details.push_back(frameRate(video.fps) + QStringLiteral(" fps"));
    if (video.bitDepth > 0)
        details.push_back(QStringLiteral("%1 Bit").arg(video.bitDepth));
    details.push_back(dynamicRange(video));
    if (video.isDolbyVision)
        details.push_back(QStringLiteral("Dolby Vision"));
    if (video.isInterlaced())
        details.push_back(QStringLiteral("Zeilensprungverfahren (interlaced)"));
    details.push_back(rate(video.bitrate));
    return {QStringLiteral("video-track"), QStringLiteral("Video"), joined(head), joined(details), {}};
}

Track describe(const AudioStreamInfo &audio)
{
    QStringList head, details;
    head.push_back(line(Language::name(audio.language)));
    head.push_back((line(audio.codecDisplay()) + QLatin1Char(' ') + layout(audio.channels)).trimmed());
    details.push_back(rate(audio.bitrate));
    if (audio.isDefault)
        details.push_back(QStringLiteral("Standard"));
    if (audio.isForced)
        details.push_back(QStringLiteral("erzwungen"));
    if (audio.isCommentary)
        details.push_back(QStringLiteral("Kommentar"));
    details.push_back(title(audio.title));
    return {QStringLiteral("audio-track"), QStringLiteral("Ton"), joined(head), joined(details), {}};
}

Track describe(const SubtitleStreamInfo &subtitle)
{
    QStringList head, details;
    head.push_back(line(Language::name(subtitle.language)));
    head.push_back(line(subtitle.codecDisplay()));
    if (subtitle.isDefault)
        details.push_back(QStringLiteral("Standard"));
    if (subtitle.isForced)
        details.push_back(QStringLiteral("erzwungen"));
    details.push_back(title(subtitle.title));
    return {QStringLiteral("captions"), QStringLiteral("Untertitel"), joined(head), joined(details), {}};
}

std::optional<Fate> videoFate(const MediaInfo &info, const Plan &plan, const ConversionSettings &settings)
{
    const QString text = qt(VideoText::of(info, plan, settings).fate);
    if (text.isEmpty())
        return std::nullopt;
    return Fate{plan.encodesVideo() ? StreamAction::convert : StreamAction::keep, text};
}

Fate fate(const AudioDecision &decision)
{
    QString reason = line(decision.reason);
    if (decision.targetChannels)
        reason += QStringLiteral(", ") + layout(*decision.targetChannels);
    return {decision.action, reason};
}

Fate fate(const SubtitleDecision &decision)
{
    return {decision.action, line(decision.reason)};
}

template <typename Stream, typename Decision>
void addTracks(std::vector<Track> &tracks, const std::vector<Stream> &streams,
               const std::vector<Decision> *decisions)
{
    for (std::size_t i = 0; i < streams.size(); ++i) {
        Track track = describe(streams[i]);
        if (decisions != nullptr && i < decisions->size())
            track.fate = fate((*decisions)[i]);
        tracks.push_back(std::move(track));
    }
}

QString attachments(std::size_t count, const Plan *plan)
{
    const QString what = counted(count, "Anhang", "Anhänge") + QStringLiteral(" (etwa Schriften)");
    if (plan == nullptr)
        return what;
    const QString verb = count == 1 ? QStringLiteral("wird") : QStringLiteral("werden");
    return QStringLiteral("%1 %2 %3")
        .arg(what, verb,
             plan->attachments.empty() && !plan->isNoop ? QStringLiteral("nicht übernommen.")
                                                        : QStringLiteral("übernommen."));
}

} // namespace

QString word(StreamAction action)
{
    return qt(lookOf(action).word);
}

QString icon(StreamAction action)
{
    return qt(lookOf(action).icon);
}

Tone tone(StreamAction action)
{
    return lookOf(action).tone;
}

const Plan *planOf(const FileItem &item)
{
    return item.isFinished() ? nullptr : item.shownPlan();
}

Tracks tracks(const FileItem &item, const ConversionSettings &settings)
{
    Tracks tracks;
    if (!item.info)
        return tracks;
    const MediaInfo &info = *item.info;
    const Plan *plan = planOf(item);
    if (info.video) {
        Track track = describe(*info.video);
        if (plan != nullptr)
            track.fate = videoFate(info, *plan, settings);
        tracks.rows.push_back(std::move(track));
    }
    addTracks(tracks.rows, info.audio, plan != nullptr ? &plan->audio : nullptr);
    addTracks(tracks.rows, info.subtitles, plan != nullptr ? &plan->subtitles : nullptr);
    if (!info.video)
        tracks.notes.push_back(QStringLiteral("Diese Datei hat kein Video."));
    if (!info.attachmentIndexes.empty())
        tracks.notes.push_back(attachments(info.attachmentIndexes.size(), plan));
    if (plan != nullptr)
        for (const auto &note : plan->notes)
            tracks.notes.push_back(line(note));
    return tracks;
}

} // namespace kestrel::TrackText
