#include "ui/detail/DetailText.h"

#include <QStringList>
#include <algorithm>
#include <array>
#include <cmath>

#include "encoding/CommandBuilder.h"
#include "encoding/ConversionJob.h"
#include "format/Fmt.h"
#include "media/Language.h"
#include "planning/Planner.h"
#include "platform/Text.h"
#include "ui/look/Strings.h"
#include "ui/table/RowText.h"

namespace kestrel::DetailText {

namespace {

using Theme::Tone;

const QString noValue = QStringLiteral("–");
const QString separator = QStringLiteral(" · ");
constexpr qsizetype longestTitle = 120; // of a track

struct ContainerName {
    std::string_view format, display;
};

// By what ffprobe's list of format names begins with.
constexpr std::array<ContainerName, 9> containerNames{{
    {"matroska", "Matroska (MKV)"},
    {"mov", "MP4/QuickTime"},
    {"avi", "AVI"},
    {"mpegts", "MPEG-TS"},
    {"mpeg", "MPEG-PS"},
    {"asf", "ASF (WMV)"},
    {"flv", "Flash (FLV)"},
    {"ogg", "Ogg"},
    {"mxf", "MXF"},
}};

bool turnsDirection(char32_t c)
{
    return (c >= 0x202A && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069) || c == 0x200E || c == 0x200F ||
           c == 0x061C;
}

// Without what turns the direction of the text, and blanks for what cannot be seen but for line breaks.
QString cleaned(std::string_view text)
{
    QString result;
    for (const QChar c : qt(Text::repaired(text))) {
        if (turnsDirection(c.unicode()))
            continue;
        const bool isControl = c.category() == QChar::Other_Control || c == QChar::LineSeparator ||
                               c == QChar::ParagraphSeparator;
        result += isControl && c != QLatin1Char('\n') ? QChar(QLatin1Char(' ')) : c;
    }
    return result;
}

void add(QStringList &parts, const QString &part)
{
    if (!part.isEmpty())
        parts.push_back(part);
}

QString text(const QStringList &parts)
{
    return parts.join(separator);
}

// "25", "23,976"
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

Track describe(const VideoStreamInfo &video)
{
    QStringList head, details;
    add(head, line(video.codecDisplay()));
    add(head, frameSize(video.width, video.height));
    if (video.fps > 0 && std::isfinite(video.fps))
        add(details, frameRate(video.fps) + QStringLiteral(" fps"));
    if (video.bitDepth > 0)
        add(details, QStringLiteral("%1 Bit").arg(video.bitDepth));
    add(details, dynamicRange(video));
    if (video.isDolbyVision)
        add(details, QStringLiteral("Dolby Vision"));
    if (video.isInterlaced())
        add(details, QStringLiteral("Zeilensprungverfahren (interlaced)"));
    add(details, rate(video.bitrate));
    return {QStringLiteral("video-track"), QStringLiteral("Video"), text(head), text(details), {}};
}

Track describe(const AudioStreamInfo &audio)
{
    QStringList head, details;
    add(head, line(Language::name(audio.language)));
    add(head, (line(audio.codecDisplay()) + QLatin1Char(' ') + layout(audio.channels)).trimmed());
    add(details, rate(audio.bitrate));
    if (audio.isDefault)
        add(details, QStringLiteral("Standard"));
    if (audio.isForced)
        add(details, QStringLiteral("erzwungen"));
    if (audio.isCommentary)
        add(details, QStringLiteral("Kommentar"));
    add(details, title(audio.title));
    return {QStringLiteral("audio-track"), QStringLiteral("Ton"), text(head), text(details), {}};
}

Track describe(const SubtitleStreamInfo &subtitle)
{
    QStringList head, details;
    add(head, line(Language::name(subtitle.language)));
    add(head, line(subtitle.codecDisplay()));
    if (subtitle.isDefault)
        add(details, QStringLiteral("Standard"));
    if (subtitle.isForced)
        add(details, QStringLiteral("erzwungen"));
    add(details, title(subtitle.title));
    return {QStringLiteral("captions"), QStringLiteral("Untertitel"), text(head), text(details), {}};
}

std::optional<Fate> videoFate(const Plan &plan, const ConversionSettings &settings)
{
    if (const auto *copy = std::get_if<CopyVideo>(&plan.video))
        return Fate{StreamAction::keep, qt(copy->reason)};
    if (!plan.encodesVideo())
        return std::nullopt;
    QString how =
        QStringLiteral("wird neu kodiert: %1, %2")
            .arg(qt(shortName(settings.codec)), qt(qualityLabel(settings.codec, plan.qualityValue)));
    if (plan.scales)
        how += QStringLiteral(", ") + frameSize(plan.outputWidth, plan.outputHeight);
    if (plan.deinterlace)
        how += QStringLiteral(", Vollbilder");
    return Fate{StreamAction::convert, how};
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

// The plan that says what is going to happen, or has happened, with the tracks that the file has now.
const Plan *planOf(const FileItem &item)
{
    const bool wasReplaced = item.isFinished() && item.resultURL && item.url == *item.resultURL;
    return item.plan && !wasReplaced ? &*item.plan : nullptr;
}

QString score(const std::optional<double> &vmaf)
{
    return vmaf ? qt(Fmt::number(*vmaf, 1)) : noValue;
}

std::vector<const Sampler::Step *> byCrf(const SampleResult &sample)
{
    std::vector<const Sampler::Step *> steps;
    for (const auto &step : sample.steps)
        steps.push_back(&step);
    std::stable_sort(steps.begin(), steps.end(),
                     [](const auto *a, const auto *b) { return a->value < b->value; });
    return steps;
}

QString tempo(double megapixelsPerSecond, FrameSize frame)
{
    const double megapixels = 1e-6 * frame.width * frame.height;
    if (!(megapixels > 0) || !(megapixelsPerSecond > 0))
        return noValue;
    const double fps = megapixelsPerSecond / megapixels;
    return qt(Fmt::number(fps, fps < 10 ? 1 : 0)) + QStringLiteral(" fps");
}

} // namespace

QString line(std::string_view text)
{
    return cleaned(text).replace(QLatin1Char('\n'), QLatin1Char(' '));
}

QString lines(std::string_view text)
{
    return cleaned(text);
}

QString name(const FileItem &item)
{
    return line(item.name());
}

QString folder(const FileItem &item)
{
    return line(shownBriefly(std::filesystem::path(item.url).parent_path()).toStdString());
}

State state(const FileItem &item)
{
    const RowText::Cell cell = RowText::status(item);
    State state{cell.icon, cell.text, cell.tone, cell.bar};
    if (is<Status::Running>(item.status)) {
        state.text = QStringLiteral("wird kodiert ") + cell.text;
    } else if (const auto *done = std::get_if<Status::Done>(&item.status)) {
        const auto before = static_cast<double>(done->before), after = static_cast<double>(done->after);
        state.text = QStringLiteral("Ergebnis: %1 → %2 (%3)")
                         .arg(qt(Fmt::bytes(before)), qt(Fmt::bytes(after)), qt(Fmt::change(before, after)));
    } else if (const auto *kept = std::get_if<Status::NoSavings>(&item.status)) {
        state.text = QStringLiteral("Das Ergebnis (%1) wäre nicht genug kleiner gewesen – Original bleibt.")
                         .arg(qt(Fmt::bytes(kept->size)));
    } else if (const auto *failed = std::get_if<Status::Failed>(&item.status)) {
        state.text = line(failed->text).simplified();
    } else if (item.probeError && !item.mayBeIncomplete) {
        state = {QStringLiteral("warning"),
                 QStringLiteral("nicht lesbar: ") + line(item.shortProbeError()),
                 Tone::orange,
                 {}};
    } else if (state.text.isEmpty()) {
        if (!item.info || !item.plan)
            state = {QStringLiteral("clock"), QStringLiteral("noch nicht analysiert"), Tone::muted, {}};
        else if (item.plan->isNoop)
            state = {QStringLiteral("check-circle"), QStringLiteral("nichts zu tun"), Tone::muted, {}};
        else if (!item.included)
            state = {QStringLiteral("minus"),
                     QStringLiteral("nicht angehakt – wird nicht konvertiert"),
                     Tone::muted,
                     {}};
        else
            state = {
                QStringLiteral("circle-dot"), QStringLiteral("bereit zum Konvertieren"), Tone::accent, {}};
    }
    if (state.icon.isEmpty())
        state.icon = state.tone == Tone::purple ? QStringLiteral("gauge") : QStringLiteral("compress");
    return state;
}

std::optional<QString> error(const FileItem &item)
{
    if (const auto *failed = std::get_if<Status::Failed>(&item.status))
        return lines(Text::trimmed(failed->text));
    if (item.probeError)
        return lines(Text::trimmed(*item.probeError));
    return std::nullopt;
}

std::vector<Fact> facts(const FileItem &item)
{
    if (!item.info)
        return {};
    const MediaInfo &info = *item.info;
    const std::string_view format(info.formatName);
    const auto *known =
        std::find_if(containerNames.begin(), containerNames.end(),
                     [&](const ContainerName &entry) { return format.starts_with(entry.format); });
    const QString container = known != containerNames.end() ? qt(known->display)
                              : format.empty()
                                  ? noValue
                                  : line(Text::upper(Text::first(format.substr(0, format.find(',')), 24)));
    std::vector<Fact> facts{
        {QStringLiteral("Größe"), qt(Fmt::bytes(info.fileSize))},
        {QStringLiteral("Dauer"), info.duration > 0 ? qt(Fmt::clock(info.duration)) : noValue},
        {QStringLiteral("Container"), container}};
    if (info.video) {
        const double bitrate = info.videoBitrate();
        facts.push_back({QStringLiteral("Video-Bitrate"), bitrate > 0 ? qt(Fmt::bitrate(bitrate)) : noValue});
    }
    return facts;
}

QString word(StreamAction action)
{
    switch (action) {
    case StreamAction::keep:
        return QStringLiteral("behalten");
    case StreamAction::convert:
        return QStringLiteral("umwandeln");
    case StreamAction::drop:
        break;
    }
    return QStringLiteral("entfernen");
}

QString icon(StreamAction action)
{
    switch (action) {
    case StreamAction::keep:
        return QStringLiteral("check");
    case StreamAction::convert:
        return QStringLiteral("arrow-right");
    case StreamAction::drop:
        break;
    }
    return QStringLiteral("close");
}

Tone tone(StreamAction action)
{
    switch (action) {
    case StreamAction::keep:
        return Tone::green;
    case StreamAction::convert:
        return Tone::accent;
    case StreamAction::drop:
        break;
    }
    return Tone::muted;
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
            track.fate = videoFate(*plan, settings);
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

QString explanation(SizeEstimate::Kind kind, bool isScored)
{
    switch (kind) {
    case SizeEstimate::Kind::heuristic:
        return QStringLiteral("Geschätzt aus Auflösung, Bildrate und Codec; gemessen wurde noch nichts.");
    case SizeEstimate::Kind::calibrated:
        return QStringLiteral(
            "Geschätzt aus Auflösung, Bildrate und Codec und berichtigt mit den Messungen an "
            "anderen Dateien dieser Bibliothek.");
    case SizeEstimate::Kind::measured:
        return isScored
                   ? QStringLiteral("Hochgerechnet aus Ausschnitten dieser Datei, die probeweise kodiert und "
                                    "deren Qualität bewertet wurde.")
                   : QStringLiteral(
                         "Hochgerechnet aus Ausschnitten dieser Datei, die probeweise kodiert wurden.");
    case SizeEstimate::Kind::exact:
        break;
    }
    return QStringLiteral("Berechnet, denn das Video wird nicht neu kodiert.");
}

std::optional<Estimate> estimate(const FileItem &item)
{
    const bool hasEnded = item.isFinished() || is<Status::NoSavings>(item.status);
    if (!item.info || !item.plan || !item.estimate || hasEnded)
        return std::nullopt;
    const SizeEstimate &expected = *item.estimate;
    const auto before = static_cast<double>(item.info->fileSize);
    const double after = expected.total();
    Estimate estimate;
    estimate.grade = qt(label(expected.kind));
    estimate.grade[0] = estimate.grade[0].toUpper();
    if (item.plan->isNoop) {
        estimate.sizes = qt(Fmt::bytes(before));
        estimate.explanation = QStringLiteral("An dieser Datei ist nichts zu tun, sie bleibt, wie sie ist.");
        return estimate;
    }
    if (!(after > 0)) {
        estimate.sizes = QStringLiteral("%1 → %2").arg(qt(Fmt::bytes(before)), noValue);
        estimate.grade = QStringLiteral("Nicht abzuschätzen");
        estimate.explanation = QStringLiteral("Die Datei nennt ihre Dauer nicht.");
        return estimate;
    }
    estimate.sizes = QStringLiteral("%1 → %2").arg(qt(Fmt::bytes(before)), qt(Fmt::bytes(after)));
    estimate.change = qt(Fmt::change(before, after));
    estimate.explanation = explanation(expected.kind, expected.vmaf.has_value());
    estimate.whole = std::max(before, after);
    const auto part = [&](const char *name, double bytes, Tone color) {
        if (bytes > 0)
            estimate.parts.push_back(
                {QStringLiteral("%1 %2").arg(QString::fromUtf8(name), qt(Fmt::bytes(bytes))), bytes, color});
    };
    part("Video", expected.videoBytes, Tone::accent);
    part("Ton", expected.audioBytes, Tone::purple);
    part("Sonstiges", expected.otherBytes, Tone::orange);
    if (before > after)
        estimate.saving = QStringLiteral("Ersparnis %1").arg(qt(Fmt::bytes(before - after)));
    if (expected.encodeSeconds > 0)
        estimate.time = QStringLiteral("Rechenzeit etwa %1")
                            .arg(qt(Fmt::duration(std::max(1.0, expected.encodeSeconds))));
    return estimate;
}

Search search(const SampleResult &sample, FrameSize frame)
{
    Search search;
    for (const Sampler::Step *step : byCrf(sample)) {
        search.hasScores = search.hasScores || step->vmaf.has_value();
        search.rows.push_back({QString::number(step->value), score(step->vmaf), score(step->vmafWorst),
                               step->bitrate > 0 ? qt(Fmt::bitrate(step->bitrate)) : noValue,
                               tempo(step->megapixelsPerSecond, frame), step->value == sample.qualityValue});
    }
    QStringList parts;
    if (sample.vmafTarget)
        add(parts, QStringLiteral("Ziel: VMAF %1").arg(score(sample.vmafTarget)));
    QString chosen = QStringLiteral("gewählt: CRF %1").arg(sample.qualityValue);
    if (sample.vmafMean)
        chosen += QStringLiteral(" mit VMAF %1").arg(score(sample.vmafMean));
    add(parts, chosen);
    if (sample.measuredSeconds > 0)
        add(parts, QStringLiteral("gemessen an %1 der Datei")
                       .arg(qt(Fmt::duration(std::max(1.0, sample.measuredSeconds)))));
    search.summary = text(parts);
    search.summary[0] = search.summary[0].toUpper();
    if (!search.hasScores)
        search.summary +=
            QStringLiteral(". Die Qualität konnte nicht bewertet werden, weil ffmpeg der Filter "
                           "libvmaf fehlt.");
    return search;
}

QString searchInWords(const SampleResult &sample)
{
    QStringList points;
    for (const Sampler::Step *step : byCrf(sample))
        if (step->vmaf)
            points.push_back(QStringLiteral("CRF %1: VMAF %2%3")
                                 .arg(step->value)
                                 .arg(score(step->vmaf), step->value == sample.qualityValue
                                                             ? QStringLiteral(" (gewählt)")
                                                             : QString()));
    QString words = points.join(QStringLiteral("; "));
    if (sample.vmafTarget)
        words += QStringLiteral(". Ziel: VMAF %1").arg(score(sample.vmafTarget));
    return words;
}

bool canBeSearched(const FileItem &item)
{
    return item.info && item.info->video && item.plan && !item.plan->isNoop && !item.isFinished();
}

QString noSearch(const FileItem &item)
{
    if (item.plan && !item.plan->encodesVideo())
        return QStringLiteral(
            "Für diese Datei wird kein Video neu kodiert, deshalb gibt es nichts zu messen.");
    return QStringLiteral(
        "Mit diesen Einstellungen wurde die Datei noch nicht gemessen. Vor dem Kodieren geschieht "
        "es von selbst.");
}

std::optional<QString> command(const FileItem &item, const ConversionSettings &settings,
                               const std::optional<Tools> &tools,
                               const std::optional<std::filesystem::path> &root)
{
    const Plan *plan = planOf(item);
    if (!item.info || plan == nullptr || plan->isNoop || !tools || !root)
        return std::nullopt;
    const auto arguments = CommandBuilder::arguments(
        *item.info, *plan, settings, ConversionJob::targetURL(item.info->url, settings, *root), std::nullopt,
        CommandBuilder::Streams::all);
    return lines(CommandBuilder::displayString(tools->ffmpeg.native(), arguments));
}

QString commandNote(const FileItem &item, const ConversionSettings &settings)
{
    QString note = QStringLiteral("Geschrieben wird zunächst unter einem vorläufigen Namen.");
    if (item.plan && item.plan->encodesVideo() && item.sample(settings.videoKey()) == nullptr)
        note += QStringLiteral(" Den CRF-Wert bestimmt vorher noch die Qualitätsprüfung.");
    return note;
}

} // namespace kestrel::DetailText
