#include "ui/detail/DetailText.h"

#include <algorithm>
#include <array>

#include "encoding/CommandBuilder.h"
#include "encoding/TargetName.h"
#include "format/Fmt.h"
#include "platform/ShellWords.h"
#include "platform/Text.h"
#include "ui/detail/TrackText.h"
#include "ui/look/Strings.h"
#include "ui/table/RowText.h"

namespace kestrel::DetailText {

namespace {

using Theme::Tone;

const QString noValue = QStringLiteral("–");

struct ContainerName {
    std::string_view format, display;
};

// Keyed by the beginning of ffprobe's list of format names.
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

// Removes marks that change the direction of the text, and replaces invisible characters but line breaks by
// blanks.
QString cleaned(std::string_view text)
{
    QString result;
    for (const QChar c : qt(Text::repaired(text))) {
        if (Text::turnsDirection(c.unicode()))
            continue;
        const bool isControl = c.category() == QChar::Other_Control || c == QChar::LineSeparator ||
                               c == QChar::ParagraphSeparator;
        result += isControl && c != QLatin1Char('\n') ? QChar(QLatin1Char(' ')) : c;
    }
    return result;
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
    const FileState state = FileState::of(item);
    const auto [icon, tone] = RowText::look(state);
    return {icon, line(state.sentence()).simplified(), tone, state.fraction};
}

std::optional<QString> error(const FileItem &item)
{
    const FileState state = FileState::of(item);
    return state.explanation.empty() ? std::nullopt : std::optional(lines(Text::trimmed(state.explanation)));
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
        {QStringLiteral("Dauer"), info.playTime() > 0 ? qt(Fmt::clock(info.playTime())) : noValue},
        {QStringLiteral("Container"), container}};
    if (info.video) {
        const double bitrate = info.videoBitrate();
        facts.push_back({QStringLiteral("Video-Bitrate"), bitrate > 0 ? qt(Fmt::bitrate(bitrate)) : noValue});
    }
    return facts;
}

std::optional<Estimate> estimate(const FileItem &item)
{
    const Plan *plan = item.shownPlan();
    if (!item.info || plan == nullptr || item.shownEstimate() == nullptr || item.hasOutcome())
        return std::nullopt;
    const SizeEstimate &expected = *item.shownEstimate();
    const auto before = static_cast<double>(item.info->fileSize);
    const double after = expected.total();
    Estimate estimate;
    estimate.grade = qt(label(expected.kind));
    estimate.grade[0] = estimate.grade[0].toUpper();
    if (plan->isNoop) {
        estimate.sizes = qt(Fmt::bytes(before));
        estimate.explanation =
            plan->leftAlone ? QStringLiteral("Diese Datei bleibt, wie sie ist: ") + line(*plan->leftAlone)
                            : QStringLiteral("An dieser Datei ist nichts zu tun, sie bleibt, wie sie ist.");
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

std::optional<QString> command(const FileItem &item, const ConversionSettings &settings,
                               const std::optional<Tools> &tools)
{
    const Plan *plan = TrackText::planOf(item);
    if (!item.info || plan == nullptr || plan->isNoop || !tools)
        return std::nullopt;
    const std::filesystem::path film = item.info->url;
    const auto target = film.parent_path() / TargetName::nameFor(film, " (ffmpeg)", settings);
    QStringList words{qt(ShellWords::plain(tools->ffmpeg.native()))};
    for (const std::string &argument : CommandBuilder::arguments(*item.info, *plan, settings, target,
                                                                 std::nullopt, CommandBuilder::Streams::all))
        words +=
            argument == "-y" ? QStringLiteral("-n") : qt(ShellWords::plain(argument)); // overwrites nothing
    return words.join(QLatin1Char(' '));
}

QString commandNote(const FileItem &item, const ConversionSettings &settings)
{
    QString note = QStringLiteral("Von Hand schreibt der Befehl eine eigene Datei neben den Film.");
    const Plan *plan = TrackText::planOf(item);
    if (plan != nullptr && plan->encodesVideo() && item.sample(settings.videoKey()) == nullptr)
        note += QStringLiteral(" Den CRF-Wert bestimmt vorher noch die Qualitätsprüfung.");
    return note;
}

} // namespace kestrel::DetailText
