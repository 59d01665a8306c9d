#include "model/RunStats.h"

#include <algorithm>

#include <fmt/format.h>

#include "format/Fmt.h"

namespace kestrel {

namespace {
constexpr double leastWeight = 1;
constexpr double leastWork = 0.01;  // share of a run before its speed is known
constexpr double leastRate = 0.001; // weight per second
} // namespace

RunStats RunStats::of(const std::vector<FileItem *> &files, const ConversionSettings &settings)
{
    RunStats stats;
    stats.usualRate = parallelGain(settings.codec, settings.parallelJobs);
    stats.startedAt = std::chrono::system_clock::now();
    stats.started = Clock::now();
    stats.total = files.size();
    for (const FileItem *item : files) {
        stats.order.push_back(item->id);
        const double weight = std::max(leastWeight, item->estimate ? item->estimate->encodeSeconds : 0);
        stats.weights[item->id.native()] = weight;
        stats.totalWeight += weight;
    }
    return stats;
}

void RunStats::pause(Clock::time_point now)
{
    if (!pauseStarted)
        pauseStarted = now;
}

void RunStats::resume(Clock::time_point now)
{
    if (pauseStarted)
        pausedTotal += now - *pauseStarted;
    pauseStarted.reset();
}

double RunStats::progress(const std::vector<const FileItem *> &inWork) const
{
    const double all = totalWeight;
    if (all <= 0)
        return 0;
    double done = doneWeight;
    for (const FileItem *item : inWork)
        if (is<Status::Running>(item->status) || is<Status::Uploading>(item->status))
            done += weight(item->id) * item->runFraction();
    return std::min(1.0, done / all);
}

std::optional<RunStats::Work> RunStats::work(const std::vector<const FileItem *> &inWork) const
{
    if (activeSeconds() <= 0)
        return std::nullopt;
    const double all = totalWeight;
    const Work work{all - resumedWeight, progress(inWork) * all - resumedWeight};
    if (work.total > 0 && work.done > leastWork * work.total)
        return work;
    return std::nullopt;
}

std::optional<double> RunStats::remaining(const std::vector<const FileItem *> &inWork) const
{
    const auto known = finished ? std::nullopt : work(inWork);
    if (!known)
        return std::nullopt;
    return (known->total - known->done) * activeSeconds() / known->done;
}

std::chrono::seconds RunStats::secondsFor(const std::vector<FileItem *> &items,
                                          const std::vector<const FileItem *> &inWork) const
{
    double left = 0;
    for (const FileItem *item : items)
        left += weight(item->id) * (1 - item->runFraction());
    return std::chrono::seconds(static_cast<std::int64_t>(left / rate(inWork)));
}

double RunStats::rate(const std::vector<const FileItem *> &inWork) const
{
    const auto known = work(inWork);
    return std::max(known ? known->done / activeSeconds() : usualRate, leastRate);
}

double RunStats::weight(const FilePath &id) const
{
    const auto found = weights.find(id.native());
    return found != weights.end() ? found->second : 0;
}

double RunStats::activeSeconds(Clock::time_point now) const
{
    const Clock::time_point end = finished.value_or(now);
    auto active = std::chrono::duration<double>(end - started) - pausedTotal;
    if (pauseStarted)
        active -= end - *pauseStarted;
    return std::max(0.0, active.count());
}

void RunStats::finish(const FilePath &id, const std::optional<ConversionOutcome> &outcome)
{
    doneWeight += weight(id);
    finishedOrder.push_back(id);
    if (!outcome) {
        ++failed;
    } else if (outcome->kind == ConversionOutcome::Kind::noSavings) {
        ++noSavings;
    } else {
        ++converted;
        bytesBefore += outcome->originalSize;
        bytesAfter += outcome->newSize;
    }
}

std::string RunStats::finishedText() const
{
    std::string text = fmt::format("Fertig: {} konvertiert", converted);
    if (noSavings > 0)
        text += fmt::format(" · {} ohne Ersparnis übersprungen", noSavings);
    if (failed > 0)
        text += fmt::format(" · {} mit Fehler", failed);
    if (!isComplete())
        text += fmt::format(" · {} abgebrochen", total - processed());
    return text + " – Dauer " + Fmt::duration(activeSeconds());
}

std::optional<std::string> RunStats::soFarText() const
{
    const auto saved = savedText();
    return saved ? std::optional("Bisher: " + *saved) : std::nullopt;
}

std::optional<std::string> RunStats::savedText() const
{
    if (converted < 1)
        return std::nullopt;
    return fmt::format("{} → {}, {} gespart ({})", Fmt::bytes(bytesBefore), Fmt::bytes(bytesAfter),
                       Fmt::bytes(bytesBefore - bytesAfter),
                       Fmt::change(static_cast<double>(bytesBefore), static_cast<double>(bytesAfter)));
}

} // namespace kestrel
