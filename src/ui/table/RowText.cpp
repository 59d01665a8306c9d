#include "ui/table/RowText.h"

#include <algorithm>
#include <map>

#include "format/Fmt.h"
#include "media/Language.h"
#include "ui/look/Strings.h"

namespace kestrel::RowText {

namespace {

using Theme::Tone;

QString what(StreamAction action, const std::string &reason)
{
    switch (action) {
    case StreamAction::keep:
        return QStringLiteral("bleibt (%1)").arg(qt(reason));
    case StreamAction::convert:
        return QStringLiteral("wird umgewandelt (%1)").arg(qt(reason));
    case StreamAction::drop:
        break;
    }
    return QStringLiteral("entfällt (%1)").arg(qt(reason));
}

template <typename Stream>
QString titled(QString text, const Stream &stream)
{
    if (stream.title)
        text += QStringLiteral(" „%1“").arg(qt(Text::repaired(*stream.title)));
    return text;
}

Chip chip(const AudioDecision &decision)
{
    const AudioStreamInfo &stream = decision.stream;
    const QString layout = channels(stream.channels);
    QString label = qt(Language::shortName(stream.language));
    if (!layout.isEmpty())
        label += QLatin1Char(' ') + layout;
    const QString help = QStringLiteral("Tonspur %1 %2 %3: %4")
                             .arg(titled(qt(Language::name(stream.language)), stream),
                                  qt(stream.codecDisplay()), layout, what(decision.action, decision.reason))
                             .simplified();
    return {label, decision.action, help};
}

Chip chip(const SubtitleDecision &decision)
{
    const SubtitleStreamInfo &stream = decision.stream;
    return {QStringLiteral("UT ") + qt(Language::shortName(stream.language)), decision.action,
            QStringLiteral("Untertitel %1 %2: %3")
                .arg(titled(qt(Language::name(stream.language)), stream), qt(stream.codecDisplay()),
                     what(decision.action, decision.reason))};
}

// The label, as far as a cell has room for it.
QString briefGrade(SizeEstimate::Kind kind)
{
    switch (kind) {
    case SizeEstimate::Kind::heuristic:
        return QStringLiteral(" · grob");
    case SizeEstimate::Kind::calibrated:
        return QStringLiteral(" · hochger.");
    default:
        return {};
    }
}

} // namespace

QString gradeWord(SizeEstimate::Kind kind)
{
    return kind == SizeEstimate::Kind::calibrated ? QStringLiteral("hochgerechnet") : qt(label(kind));
}

QString channels(int count)
{
    if (count < 1)
        return {};
    switch (count) {
    case 1:
        return QStringLiteral("Mono");
    case 2:
        return QStringLiteral("Stereo");
    case 3:
    case 4:
    case 5:
        return QStringLiteral("%1.0").arg(count);
    default:
        return QStringLiteral("%1.1").arg(count - 1);
    }
}

QString source(const MediaInfo &info)
{
    if (!info.video)
        return QStringLiteral("kein Video");
    QString text = qt(info.video->resolutionClass()) + QStringLiteral(" · ") + qt(info.video->codecDisplay());
    if (info.video->isDolbyVision)
        text += QStringLiteral(" · DV");
    else if (info.video->isHDR())
        text += QStringLiteral(" · HDR");
    return text;
}

Cell video(const FileItem &item, const ConversionSettings &settings)
{
    if (item.probeError)
        return {.text = QStringLiteral("nicht lesbar"),
                .icon = QStringLiteral("warning"),
                .tone = Tone::orange,
                .help = qt(Text::repaired(item.explainedProbeError()))};
    if (!item.info)
        return {};
    if (!item.info->video)
        return {.text = QStringLiteral("kein Video"), .tone = Tone::muted};
    Cell cell{.text = source(*item.info)};
    if (!item.plan)
        return cell;
    const Plan &plan = *item.plan;
    if (plan.encodesVideo()) {
        cell.text += QStringLiteral(" → ");
        if (plan.scales)
            cell.text += QStringLiteral("%1p ").arg(item.info->video->isOnItsSide() ? plan.outputWidth
                                                                                    : plan.outputHeight);
        cell.text += qt(shortName(settings.codec));
        cell.brief = cell.text.section(QStringLiteral(" · "), 1);
        cell.help = QStringLiteral("wird neu kodiert: %1, %2")
                        .arg(qt(title(settings.codec)), qt(qualityLabel(settings.codec, plan.qualityValue)));
    } else if (const auto *copy = std::get_if<CopyVideo>(&plan.video)) {
        cell.help = qt(copy->reason);
    }
    for (const auto &note : plan.notes)
        cell.help += QLatin1Char('\n') + qt(note);
    return cell;
}

std::vector<Chip> chips(const FileItem &item)
{
    std::vector<Chip> chips;
    if (!item.plan)
        return chips;
    if (item.info->video && item.info->video->isInterlaced())
        chips.push_back({QStringLiteral("interlaced"),
                         item.plan->deinterlace ? StreamAction::convert : StreamAction::keep,
                         QStringLiteral("Zeilensprungverfahren (interlaced)")});
    for (const auto &decision : item.plan->audio)
        chips.push_back(chip(decision));
    for (const auto &decision : item.plan->subtitles)
        chips.push_back(chip(decision));
    return chips;
}

Cell size(const FileItem &item)
{
    return {.text = item.info ? qt(Fmt::bytes(item.bytesBefore())) : QStringLiteral("–")};
}

Cell estimate(const FileItem &item)
{
    if (!item.info || !item.plan || !item.estimate)
        return {.text = QStringLiteral("–"), .tone = Tone::muted};
    const auto before = static_cast<double>(item.bytesBefore());
    if (item.isFinished())
        return {.text = qt(Fmt::bytes(item.bytesAfter())),
                .detail = qt(Fmt::change(before, item.bytesAfter()))};
    if (is<Status::NoSavings>(item.status))
        return {.text = qt(Fmt::bytes(before)), .detail = QStringLiteral("bleibt"), .tone = Tone::muted};
    if (item.plan->leftAlone) {
        const QString reason = qt(Text::oneLine(*item.plan->leftAlone));
        return {.text = reason, .tone = Tone::muted, .help = reason, .canBreak = true};
    }
    if (item.plan->isNoop)
        return {.text = QStringLiteral("nichts zu tun"), .tone = Tone::muted};
    const double after = item.estimate->total();
    const QString change = qt(Fmt::change(before, after));
    Cell cell{.text = qt(Fmt::bytes(after)),
              .detail = change + QStringLiteral(" · ") + gradeWord(item.estimate->kind),
              .briefDetail = change + briefGrade(item.estimate->kind)};
    if (item.estimate->kind == SizeEstimate::Kind::measured)
        cell.icon = QStringLiteral("gauge");
    cell.help = qt(label(item.estimate->kind));
    if (item.estimate->vmaf)
        cell.help += QStringLiteral(", VMAF %1").arg(qt(Fmt::number(*item.estimate->vmaf, 1)));
    return cell;
}

Cell status(const FileItem &item)
{
    if (item.isSampling)
        return {.text = QStringLiteral("Stichprobe wird gemessen"),
                .brief = QStringLiteral("wird gemessen"),
                .tone = Tone::purple,
                .bar = item.samplingFraction};
    if (const auto *analyzing = std::get_if<Status::Analyzing>(&item.status))
        return {.text = QStringLiteral("Qualitätsprüfung"),
                .tone = Tone::purple,
                .bar = analyzing->fraction,
                .help = QStringLiteral(
                    "Probiert an kurzen Ausschnitten aus, wie stark sich die Datei komprimieren "
                    "lässt, ohne dass man einen Unterschied sieht – danach wird kodiert.")};
    if (const auto *running = std::get_if<Status::Running>(&item.status)) {
        Cell cell{
            .text = qt(Fmt::percent(running->fraction)), .tone = Tone::accent, .bar = running->fraction};
        if (item.fps > 0)
            cell.text += QStringLiteral(" · %1 fps").arg(qt(Fmt::number(item.fps, 0)));
        return cell;
    }
    if (is<Status::Uploading>(item.status))
        return {.text = QStringLiteral("wird hochgeladen"),
                .tone = Tone::accent,
                .bar = item.runFraction(),
                .help = QStringLiteral(
                    "Fertige Datei wird aufs Netzlaufwerk kopiert und geprüft – erst danach wird "
                    "getauscht.")};
    if (const auto *done = std::get_if<Status::Done>(&item.status)) {
        const QString sizes =
            QStringLiteral("%1 → %2").arg(qt(Fmt::bytes(done->before)), qt(Fmt::bytes(done->after)));
        const QString change =
            qt(Fmt::change(static_cast<double>(done->before), static_cast<double>(done->after)));
        const QString note = qt(Text::repaired(done->note.value_or("")));
        const QString help = QStringLiteral("Ergebnis: %1 (%2)").arg(sizes, change);
        return {.text = QStringLiteral("Ergebnis: ") + change,
                .detail = sizes,
                .brief = change,
                .icon = note.isEmpty() ? QStringLiteral("check-circle") : QStringLiteral("warning"),
                .tone = note.isEmpty() ? Tone::green : Tone::orange,
                .help = note.isEmpty() ? help : help + QStringLiteral("\n") + note};
    }
    if (const auto *kept = std::get_if<Status::NoSavings>(&item.status))
        return {.text = QStringLiteral("Original bleibt"),
                .detail = QStringLiteral("keine Ersparnis"),
                .icon = QStringLiteral("info"),
                .tone = Tone::muted,
                .help =
                    QStringLiteral("Das Ergebnis (%1) wäre nicht genug kleiner gewesen – Original bleibt.")
                        .arg(qt(Fmt::bytes(kept->size)))};
    if (const auto *failed = std::get_if<Status::Failed>(&item.status)) {
        const QString why = qt(Text::repaired(explained(*failed)));
        return {.text = QStringLiteral("Fehler"),
                .detail = why.simplified(),
                .icon = QStringLiteral("warning"),
                .tone = Tone::red,
                .help = why};
    }
    if (item.mayBeIncomplete)
        return {.text = QStringLiteral("wird evtl. noch kopiert"),
                .icon = QStringLiteral("clock"),
                .tone = Tone::orange,
                .help = QStringLiteral("wird evtl. noch kopiert"),
                .canBreak = true};
    if (item.probeError) {
        const auto known = item.knownProbeError();
        const QString why = qt(Text::repaired(item.explainedProbeError()));
        return {.text = known ? qt(*known) : why.simplified(),
                .tone = Tone::muted,
                .help = why,
                .canBreak = true};
    }
    if (is<Status::Queued>(item.status))
        return {.text = QStringLiteral("wartet"), .icon = QStringLiteral("clock"), .tone = Tone::muted};
    return {};
}

bool hasStatus(const FileItem &item)
{
    return item.isSampling || !is<Status::Idle>(item.status) || item.mayBeIncomplete || item.probeError;
}

Folder Folder::of(const TableNode &node)
{
    Folder folder;
    const std::vector<FileItem *> files = node.folderItems();
    folder.files = files.size();
    for (const FileItem *item : files) {
        folder.choosable += item->isChoosable() ? 1 : 0;
        folder.included += item->isChoosable() && item->included ? 1 : 0;
        folder.converted += item->isFinished() ? 1 : 0;
        folder.failed += is<Status::Failed>(item->status) ? 1 : 0;
    }
    folder.progress = folderProgress(files);
    return folder;
}

Sources Sources::of(const TableNode &node)
{
    std::map<QString, std::size_t> kinds;
    for (const FileItem *item : node.folderItems())
        if (item->info)
            ++kinds[source(*item->info)];
    const auto most = std::max_element(kinds.begin(), kinds.end(),
                                       [](const auto &a, const auto &b) { return a.second < b.second; });
    Sources sources;
    if (most != kinds.end()) {
        sources.most = most->first;
        for (const auto &[kind, count] : kinds)
            sources.different += kind != most->first ? count : 0;
    }
    return sources;
}

std::optional<Qt::CheckState> Folder::checkState() const
{
    if (choosable == 0)
        return std::nullopt;
    return included == 0 ? Qt::Unchecked : included == choosable ? Qt::Checked : Qt::PartiallyChecked;
}

Cell video(const Sources &sources)
{
    Cell cell{.text = sources.most, .tone = Tone::muted};
    if (sources.different > 0)
        cell.detail = QStringLiteral("%1 abweichend").arg(sources.different);
    return cell;
}

Cell size(const TableNode &node)
{
    return {.text = node.sizeValue > 0 ? qt(Fmt::bytes(node.sizeValue)) : QStringLiteral("–")};
}

Cell estimate(const TableNode &node, const Folder &folder)
{
    if (node.estimateValue <= 0)
        return {.text = QStringLiteral("–"), .tone = Tone::muted};
    Cell cell{.text = qt(Fmt::bytes(node.estimateValue))};
    if (folder.progress.count > 0)
        cell.detail = qt(Fmt::change(static_cast<double>(node.sizeValue), node.estimateValue));
    return cell;
}

Cell status(const Folder &folder, const std::optional<QString> &completion)
{
    const FolderProgress &progress = folder.progress;
    if (progress.isActive) {
        Cell cell{.text = QStringLiteral("%1 von %2").arg(progress.processed).arg(progress.count),
                  .tone = progress.isWorking ? Tone::accent : Tone::muted,
                  .bar = progress.fraction};
        if (completion) {
            cell.brief = cell.text;
            cell.text += QStringLiteral(" · ") + *completion;
            cell.help = QStringLiteral("Geschätzte Fertigstellung: ") + *completion;
        }
        return cell;
    }
    if (folder.failed > 0)
        return {.text = QStringLiteral("%1 mit Fehler").arg(folder.failed),
                .icon = QStringLiteral("warning"),
                .tone = Tone::red};
    if (folder.converted > 0 && progress.processed == progress.count)
        return {
            .text = QStringLiteral("fertig"), .icon = QStringLiteral("check-circle"), .tone = Tone::green};
    return {};
}

} // namespace kestrel::RowText
