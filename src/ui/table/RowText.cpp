#include "ui/table/RowText.h"

#include <algorithm>
#include <array>
#include <map>

#include "format/Fmt.h"
#include "media/Language.h"
#include "model/VideoText.h"
#include "platform/Enumeration.h"
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

// Returns a form of the label that fits into a cell.
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

Cell video(const FileItem &item, const ConversionSettings &settings)
{
    if (item.probeError)
        return {.text = qt(word(FileState::Kind::unreadable)),
                .icon = QStringLiteral("warning"),
                .tone = Tone::orange,
                .help = qt(Text::repaired(item.explainedProbeError()))};
    if (!item.info)
        return {};
    const Plan *plan = item.shownPlan();
    const bool isConverted = item.isFinished() && item.converted;
    const VideoText text = isConverted       ? *item.converted
                           : plan == nullptr ? VideoText::of(*item.info)
                                             : VideoText::of(*item.info, *plan, item.shownSettings(settings));
    Cell cell{.text = qt(text.whole()), .tone = item.info->video ? Tone::text : Tone::muted};
    if (!text.target.empty())
        cell.brief = qt(text.brief());
    if (isConverted || plan == nullptr)
        return cell;
    cell.help = qt(text.fate);
    for (const auto &note : plan->notes)
        cell.help += QLatin1Char('\n') + qt(note);
    return cell;
}

std::vector<Chip> chips(const FileItem &item)
{
    std::vector<Chip> chips;
    const Plan *plan = item.shownPlan();
    if (plan == nullptr)
        return chips;
    if (item.info->video && item.info->video->isInterlaced())
        chips.push_back({QStringLiteral("interlaced"),
                         plan->deinterlace ? StreamAction::convert : StreamAction::keep,
                         QStringLiteral("Zeilensprungverfahren (interlaced)")});
    for (const auto &decision : plan->audio)
        chips.push_back(chip(decision));
    for (const auto &decision : plan->subtitles)
        chips.push_back(chip(decision));
    return chips;
}

Cell size(const FileItem &item)
{
    return {.text = item.info ? qt(Fmt::bytes(item.bytesBefore())) : QStringLiteral("–")};
}

Cell estimate(const FileItem &item)
{
    const Plan *plan = item.shownPlan();
    const SizeEstimate *expected = item.shownEstimate();
    if (!item.info || plan == nullptr || expected == nullptr)
        return {.text = QStringLiteral("–"), .tone = Tone::muted};
    const auto before = static_cast<double>(item.bytesBefore());
    if (item.isFinished())
        return {.text = qt(Fmt::bytes(item.bytesAfter())),
                .detail = qt(Fmt::change(before, item.bytesAfter()))};
    if (is<Status::NoSavings>(item.status))
        return {.text = qt(Fmt::bytes(before)), .detail = QStringLiteral("bleibt"), .tone = Tone::muted};
    if (plan->leftAlone) {
        const QString reason = qt(Text::oneLine(*plan->leftAlone));
        return {.text = reason, .tone = Tone::muted, .help = reason, .canBreak = true};
    }
    if (plan->isNoop)
        return {.text = qt(word(FileState::Kind::nothingToDo)), .tone = Tone::muted};
    const double after = expected->total();
    const QString change = qt(Fmt::change(before, after));
    Cell cell{.text = qt(Fmt::bytes(after)),
              .detail = change + QStringLiteral(" · ") + gradeWord(expected->kind),
              .briefDetail = change + briefGrade(expected->kind)};
    if (expected->kind == SizeEstimate::Kind::measured)
        cell.icon = QStringLiteral("gauge");
    cell.help = qt(label(expected->kind));
    if (expected->vmaf)
        cell.help += QStringLiteral(", VMAF %1").arg(qt(Fmt::number(*expected->vmaf, 1)));
    return cell;
}

Look look(const FileState &state)
{
    struct KindLook {
        FileState::Kind kind;
        const char *icon;
        Tone tone;
    };
    using Kind = FileState::Kind;
    static constexpr std::array<KindLook, 15> looks{{
        {Kind::notProbed, "clock", Tone::muted},
        {Kind::unreadable, "warning", Tone::orange},
        {Kind::incomplete, "clock", Tone::orange},
        {Kind::leftAlone, "info", Tone::muted},
        {Kind::nothingToDo, "check-circle", Tone::muted},
        {Kind::notChecked, "minus", Tone::muted},
        {Kind::ready, "circle-dot", Tone::accent},
        {Kind::sampling, "gauge", Tone::purple},
        {Kind::queued, "clock", Tone::muted},
        {Kind::analyzing, "gauge", Tone::purple},
        {Kind::running, "compress", Tone::accent},
        {Kind::uploading, "compress", Tone::accent},
        {Kind::done, "check-circle", Tone::green},
        {Kind::noSavings, "info", Tone::muted},
        {Kind::failed, "warning", Tone::red},
    }};
    static_assert(coversEveryCase(looks, &KindLook::kind));
    if (state.kind == Kind::done && !state.reason.empty()) // it succeeded, but not completely
        return {QStringLiteral("warning"), Tone::orange};
    const KindLook &look = looks[static_cast<std::size_t>(state.kind)];
    return {QString::fromUtf8(look.icon), look.tone};
}

Cell status(const FileItem &item)
{
    using Kind = FileState::Kind;
    if (!hasStatus(item))
        return {};
    const FileState state = FileState::of(item);
    const auto [icon, tone] = look(state);
    Cell cell{.text = qt(state.title()),
              .detail = qt(state.detail()),
              .brief = qt(state.briefTitle()),
              .icon = icon,
              .tone = tone,
              .bar = state.fraction,
              .help = qt(state.help())};
    cell.saysBar = state.kind == Kind::running;
    cell.canBreak = state.kind == Kind::incomplete || state.kind == Kind::unreadable;
    if (state.fraction) // the bar replaces the icon
        cell.icon.clear();
    if (state.kind == Kind::unreadable) { // the icon is shown beside the video
        cell.icon.clear();
        cell.tone = Tone::muted;
    }
    return cell;
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
    }
    folder.progress = folderProgress(files);
    return folder;
}

Sources Sources::of(const TableNode &node)
{
    std::map<QString, std::size_t> kinds;
    for (const FileItem *item : node.folderItems())
        if (item->info)
            ++kinds[qt(VideoText::of(*item->info).whole())];
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
        Cell cell{.text = qt(Fmt::share(progress.processed, progress.count)),
                  .tone = progress.isWorking ? Tone::accent : Tone::muted,
                  .bar = progress.fraction};
        if (completion) {
            cell.brief = cell.text;
            cell.text += QStringLiteral(" · ") + *completion;
            cell.help = QStringLiteral("Geschätzte Fertigstellung: ") + *completion;
        }
        return cell;
    }
    if (progress.failed > 0)
        return {.text = QStringLiteral("%1 mit Fehler").arg(progress.failed),
                .icon = QStringLiteral("warning"),
                .tone = Tone::red};
    const QString outcome = qt(progress.outcome());
    if (outcome.isEmpty())
        return {};
    return progress.isFinished()
               ? Cell{.text = outcome, .icon = QStringLiteral("check-circle"), .tone = Tone::green}
               : Cell{.text = outcome, .tone = Tone::muted};
}

} // namespace kestrel::RowText
