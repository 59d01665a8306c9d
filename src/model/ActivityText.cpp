#include "model/ActivityText.h"

#include <algorithm>
#include <array>
#include <chrono>

#include <fmt/format.h>

#include "format/Fmt.h"
#include "model/AppModel.h"
#include "model/Sentences.h"
#include "platform/Enumeration.h"

namespace kestrel {

namespace {

using State = ActivityText::State;

struct StateRow {
    State state;
    std::string_view id, headline;
    std::string_view announcement = {}; // empty: the headline is announced
};

constexpr std::array<StateRow, 9> stateRows{{
    {State::idle, "idle", "Bereit"},
    {State::scanning, "scanning", Sentences::searching},
    {State::sampling, "sampling", "Stichprobe", Sentences::measuring},
    {State::probeClip, "probeClip", "Probeclip wird erstellt"},
    {State::converting, "converting", "Konvertiert", "Konvertierung läuft"},
    {State::paused, "paused", "Pausiert"},
    {State::finished, "finished", "Fertig"},
    {State::stopped, "stopped", "Gestoppt"},
    {State::interrupted, "idle", "Bereit", "Die Suche wurde abgebrochen"},
}};
static_assert(coversEveryCase(stateRows, &StateRow::state));

constexpr std::string_view stopping = "wird gestoppt …";

const StateRow &rowOf(State state)
{
    return stateRows[static_cast<std::size_t>(state)];
}

ActivityText ofRun(const AppModel &model)
{
    const RunStats &run = *model.run();
    ActivityText text;
    text.done = run.processed();
    text.total = run.total;
    text.progress = model.runProgress();
    text.remaining = model.runRemaining();
    text.failed = run.failed;
    text.saved = run.savedText();
    if (model.activity().kind == Activity::Kind::converting) {
        text.state = model.isPaused() ? State::paused : State::converting;
        text.note = run.soFarText();
    } else {
        text.state = run.isComplete() ? State::finished : State::stopped;
        text.note = run.finishedText();
    }
    return text;
}

ActivityText ofLibrary(const Library &library)
{
    ActivityText text;
    text.done = static_cast<std::size_t>(
        std::count_if(library.items().begin(), library.items().end(),
                      [](const auto &item) { return !item->info && !item->probeError; }));
    if (text.done > 0)
        text.state = State::interrupted;
    return text;
}

} // namespace

std::string_view id(ActivityText::State state)
{
    return rowOf(state).id;
}

std::string_view headline(ActivityText::State state)
{
    return rowOf(state).headline;
}

ActivityText ActivityText::of(const AppModel &model)
{
    const auto &[kind, done, total, fraction] = model.activity();
    ActivityText text;
    const bool isRun = kind == Activity::Kind::converting || kind == Activity::Kind::idle;
    if (isRun) {
        text = model.isRunOfLibrary() ? ofRun(model) : ofLibrary(model.library());
    } else if (kind == Activity::Kind::probeClip) {
        text.state = State::probeClip;
        text.progress = fraction;
    } else {
        text.state = kind == Activity::Kind::scanning ? State::scanning : State::sampling;
        text.done = done;
        text.total = total;
        if (total > 0) // includes the progress of the file that is measured
            text.progress = (static_cast<double>(done) + fraction) / static_cast<double>(total);
    }
    text.isStopping = model.isStopping();
    return text;
}

std::string ActivityText::headline() const
{
    const std::string headline(kestrel::headline(state));
    return state == State::sampling
               ? fmt::format("{} {}", headline, Fmt::share(std::min(done + 1, total), total))
               : headline;
}

std::string ActivityText::count() const
{
    return total > 0 ? Fmt::share(done, total) : std::string();
}

std::string ActivityText::fileCount() const
{
    return total > 0 ? Fmt::shareOfFiles(done, total) : std::string();
}

std::string ActivityText::detail() const
{
    if (isStopping)
        return std::string(stopping);
    if (state == State::paused)
        return headline();
    if (state == State::interrupted)
        return Fmt::count(done) + " noch nicht analysiert";
    if (state != State::converting || !remaining)
        return {};
    const auto end =
        std::chrono::system_clock::now() + std::chrono::seconds(static_cast<std::int64_t>(*remaining));
    return fmt::format("noch {} · fertig {}", Fmt::duration(*remaining), Fmt::dayTimeInSentence(end));
}

std::string ActivityText::announcement() const
{
    if (isStopping)
        return std::string(stopping);
    if (state == State::finished)
        return note.value_or("");
    if (state == State::stopped)
        return headline() + ". " + note.value_or("");
    const std::string_view own = rowOf(state).announcement;
    return own.empty() ? headline() : std::string(own);
}

} // namespace kestrel
