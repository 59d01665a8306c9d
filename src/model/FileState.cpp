#include "model/FileState.h"

#include <algorithm>
#include <array>

#include <fmt/format.h>

#include "format/Fmt.h"
#include "platform/Enumeration.h"
#include "platform/Text.h"

namespace kestrel {

namespace {

using Kind = FileState::Kind;

// `word` is the window's; `page` and `line` are the shorter ones, if any, of the status page and of a list of
// events.
struct KindRow {
    Kind kind;
    std::string_view id, word, page = {}, line = {}, help = {};
};

constexpr std::array<KindRow, 15> kindRows{{
    {Kind::notProbed, "idle", "noch nicht analysiert"},
    {Kind::unreadable, "idle", "nicht lesbar"},
    {Kind::incomplete,
     "idle",
     "wird evtl. noch kopiert",
     {},
     "wird evtl. noch kopiert – später neu analysieren"},
    {Kind::leftAlone, "idle", "bleibt unverändert"},
    {Kind::nothingToDo, "idle", "nichts zu tun"},
    {Kind::notChecked, "idle", "nicht angehakt – wird nicht konvertiert"},
    {Kind::ready, "idle", "bereit zum Konvertieren"},
    {Kind::sampling, "analyzing", "Stichprobe wird gemessen", "Qualitätsprüfung"},
    {Kind::queued, "idle", "wartet"},
    {Kind::analyzing,
     "analyzing",
     "Qualitätsprüfung",
     {},
     "Qualitätssuche",
     "Probiert an kurzen Ausschnitten aus, wie stark sich die Datei komprimieren lässt, ohne dass man einen "
     "Unterschied sieht – danach wird kodiert."},
    {Kind::running, "running", "wird konvertiert", "kodiert"},
    {Kind::uploading,
     "uploading",
     "wird hochgeladen",
     {},
     {},
     "Fertige Datei wird aufs Netzlaufwerk kopiert und geprüft – erst danach wird getauscht."},
    {Kind::done, "done", "Ergebnis", {}, "fertig"},
    {Kind::noSavings, "noSavings", "Original bleibt", "keine Ersparnis"},
    {Kind::failed, "failed", "Fehler"},
}};
static_assert(coversEveryCase(kindRows, &KindRow::kind));

const KindRow &rowOf(Kind kind)
{
    return kindRows[static_cast<std::size_t>(kind)];
}

std::string_view orElse(std::string_view own, std::string_view usual)
{
    return own.empty() ? usual : own;
}

std::string onOneLine(std::string_view text)
{
    return Text::oneLine(Text::repaired(text));
}

FileState idle(const FileItem &item)
{
    const Plan *plan = item.shownPlan();
    if (item.mayBeIncomplete)
        return {Kind::incomplete};
    if (item.probeError)
        return {.kind = Kind::unreadable,
                .reason = item.shortProbeError(),
                .explanation = item.explainedProbeError()};
    if (!item.info || plan == nullptr)
        return {Kind::notProbed};
    if (plan->leftAlone)
        return {.kind = Kind::leftAlone, .reason = *plan->leftAlone};
    if (plan->isNoop)
        return {Kind::nothingToDo};
    return {item.included ? Kind::ready : Kind::notChecked};
}

} // namespace

std::string_view word(FileState::Kind kind)
{
    return rowOf(kind).word;
}

FileState FileState::of(const FileItem &item)
{
    if (item.isSampling)
        return {.kind = Kind::sampling, .fraction = item.samplingFraction};
    if (const auto *analyzing = std::get_if<Status::Analyzing>(&item.status))
        return {.kind = Kind::analyzing, .fraction = analyzing->fraction, .isSearch = analyzing->isSearch};
    if (const auto *running = std::get_if<Status::Running>(&item.status)) {
        FileState state{.kind = Kind::running, .fraction = running->fraction, .fps = item.fps};
        if (item.inRun && item.inRun->planned.plan.encodesVideo() && item.inRun->planned.estimate.vmaf) {
            state.quality = item.inRun->planned.plan.qualityValue;
            state.vmaf = item.inRun->planned.estimate.vmaf;
        }
        return state;
    }
    if (is<Status::Uploading>(item.status))
        return {.kind = Kind::uploading, .fraction = item.runFraction()};
    if (const auto *done = std::get_if<Status::Done>(&item.status))
        return {.kind = Kind::done,
                .before = done->before,
                .after = done->after,
                .reason = done->note.value_or("")};
    if (const auto *kept = std::get_if<Status::NoSavings>(&item.status))
        return {.kind = Kind::noSavings,
                .before = item.sizeValue(),
                .after = kept->size,
                .reason = kept->wasEncoded ? "" : measuredUnchanged};
    if (const auto *failed = std::get_if<Status::Failed>(&item.status)) {
        const std::string why =
            failed->isQuoted ? "ffprobe meldet einen Fehler:\n" + failed->text : failed->text;
        return {.kind = Kind::failed, .reason = failed->text, .explanation = why};
    }
    if (is<Status::Queued>(item.status))
        return {Kind::queued};
    return idle(item);
}

std::string FileState::sizes() const
{
    return Fmt::bytes(before) + " → " + Fmt::bytes(after);
}

std::string FileState::change() const
{
    return Fmt::change(static_cast<double>(before), static_cast<double>(after));
}

std::string FileState::progress() const
{
    return Fmt::percent(fraction.value_or(0)) + (fps > 0 ? " · " + Fmt::number(fps, 0) + " fps" : "");
}

std::string FileState::title() const
{
    switch (kind) {
    case Kind::running:
        return progress();
    case Kind::done:
        return fmt::format("{}: {}", word(kind), change());
    case Kind::unreadable:
    case Kind::leftAlone:
        return onOneLine(reason);
    default:
        return std::string(word(kind));
    }
}

std::string FileState::briefTitle() const
{
    return kind == Kind::done ? change() : kind == Kind::sampling ? "wird gemessen" : "";
}

std::string FileState::detail() const
{
    switch (kind) {
    case Kind::done:
        return sizes();
    case Kind::noSavings:
        return brief();
    case Kind::failed:
        return onOneLine(explanation);
    default:
        return {};
    }
}

std::string FileState::help() const
{
    switch (kind) {
    case Kind::done: {
        const std::string result = fmt::format("{}: {} ({})", word(kind), sizes(), change());
        return reason.empty() ? result : result + "\n" + Text::repaired(reason);
    }
    case Kind::noSavings:
        return sentence();
    case Kind::failed:
    case Kind::unreadable:
        return Text::repaired(explanation);
    case Kind::leftAlone:
        return Text::repaired(reason);
    case Kind::incomplete:
        return std::string(word(kind));
    default:
        return std::string(rowOf(kind).help);
    }
}

std::string FileState::sentence() const
{
    switch (kind) {
    case Kind::running:
        return fmt::format("{} {}", word(kind), progress());
    case Kind::done: {
        const std::string result = fmt::format("{}: {} ({})", word(kind), sizes(), change());
        return reason.empty() ? result : result + ". " + onOneLine(reason);
    }
    case Kind::noSavings:
        return reason.empty() ? fmt::format("Das Ergebnis ({}) wäre nicht genug kleiner gewesen – {}.",
                                            Fmt::bytes(after), word(kind))
                              : reason;
    case Kind::failed:
        return onOneLine(explanation);
    case Kind::unreadable:
        return fmt::format("{}: {}", word(kind), onOneLine(reason));
    default:
        return title();
    }
}

std::string FileState::line() const
{
    const std::string_view own = orElse(rowOf(kind).line, word(kind));
    switch (kind) {
    case Kind::analyzing:
        return std::string(isSearch ? own : "Probekodierung");
    case Kind::running:
        return vmaf ? fmt::format("{} mit CRF {} (VMAF {})", own, quality.value_or(0), Fmt::number(*vmaf, 1))
                    : std::string(own);
    case Kind::done:
        return fmt::format("{}, {} ({}){}", own, sizes(), change(),
                           reason.empty() ? "" : ". " + onOneLine(reason));
    case Kind::failed:
        return fmt::format("{}: {}", own, onOneLine(explanation));
    case Kind::noSavings:
    case Kind::leftAlone:
    case Kind::unreadable:
        return sentence();
    default:
        return std::string(own);
    }
}

std::string FileState::brief() const
{
    const std::string_view own = orElse(rowOf(kind).page, word(kind));
    switch (kind) {
    case Kind::running:
        return fmt::format("{} {}", own, progress());
    case Kind::done:
        return fmt::format("{} ({})", sizes(), change());
    default:
        return std::string(own);
    }
}

std::string_view FileState::id() const
{
    return rowOf(kind).id;
}

} // namespace kestrel
