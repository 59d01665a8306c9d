#include <algorithm>
#include <cstdio>
#include <vector>

#include <fmt/format.h>

#include "cli/Commands.h"
#include "cli/Json.h"
#include "cli/Terminal.h"
#include "encoding/Sampler.h"
#include "format/Fmt.h"
#include "planning/Planner.h"
#include "platform/Cancelled.h"
#include "platform/ErrorText.h"
#include "platform/OnExit.h"
#include "platform/TemporaryFolder.h"

namespace kestrel {

namespace {

constexpr std::size_t usualCount = 6;

// Spread evenly over the candidates, so that not only the first folder is measured.
std::vector<const PlannedFile *> choose(const FolderPlan &plan, std::size_t count)
{
    std::vector<const PlannedFile *> candidates;
    for (const auto &file : plan.files)
        if (file.isCounted() && file.plan->encodesVideo())
            candidates.push_back(&file);
    const std::size_t chosen = std::min(count, candidates.size());
    std::vector<const PlannedFile *> result;
    for (std::size_t i = 0; i < chosen; ++i)
        result.push_back(candidates[static_cast<std::size_t>((static_cast<double>(i) + 0.5) *
                                                             static_cast<double>(candidates.size()) /
                                                             static_cast<double>(chosen))]);
    return result;
}

SampleResult measure(const PlannedFile &file, const Prepared &prepared, const std::stop_token &stop)
{
    const TemporaryFolder folder;
    const bool showsProgress = Terminal::isErrorTerminal();
    const std::string name = Terminal::shown(file.relativePath.filename().native());
    const auto clear = onExit([&] {
        if (showsProgress)
            Terminal::writeError(fmt::format("\r\x1b[K"));
    });
    return Sampler::search(
        {*file.info, *file.plan, prepared.settings, prepared.tools, folder.path()},
        [&](double fraction) {
            if (showsProgress)
                Terminal::writeError(
                    fmt::format("\rQualitätssuche {}: {}\x1b[K", name, Fmt::percent(fraction)));
        },
        stop);
}

void printResult(const PlannedFile &file, const SampleResult &result, const ConversionSettings &settings)
{
    Terminal::print("{}\n", Terminal::bold(Terminal::shown(file.relativePath.native())));
    for (const auto &step : result.steps) {
        const std::string score =
            step.vmaf ? fmt::format("VMAF {} (schlechteste Stelle {})", Fmt::number(*step.vmaf, 2),
                                    Fmt::number(*step.vmafWorst, 2))
                      : "ohne VMAF";
        Terminal::print("  CRF {:2}  {:>12}  {}{}\n", step.value, Fmt::bitrate(step.bitrate), score,
                        step.value == result.qualityValue ? "  ← gewählt" : "");
    }
    const Plan plan = Planner::planMeasured(*file.info, settings, result);
    const auto estimate =
        Estimator::estimate(*file.info, plan, settings, &result, std::nullopt, std::nullopt);
    const auto source = static_cast<double>(file.info->fileSize);
    if (!plan.encodesVideo())
        Terminal::print("  {}\n", measuredUnchanged);
    else
        Terminal::print("  {} → etwa {} ({}, {}) · Rechenzeit etwa {}\n", Fmt::bytes(source),
                        Fmt::bytes(estimate.total()), Fmt::change(source, estimate.total()),
                        label(estimate.kind), Fmt::duration(estimate.encodeSeconds));
    Terminal::flush();
}

} // namespace

int runMeasure(const Arguments &arguments, const Interrupt &interrupt)
{
    const Prepared prepared = prepare(arguments, interrupt.token());
    const auto files = choose(prepared.plan, arguments.count.value_or(usualCount));
    if (files.empty())
        Terminal::complain("In diesem Ordner wird kein Video neu kodiert.");
    else if (!prepared.tools.hasVMAF)
        Terminal::complain("Dieses ffmpeg hat keinen VMAF-Filter (libvmaf): gemessen werden nur Größe und "
                           "Tempo bei der voreingestellten Qualität.");

    bool hasFailed = false;
    for (const PlannedFile *file : files) {
        throwIfStopped(interrupt.token());
        try {
            const SampleResult result = measure(*file, prepared, interrupt.token());
            if (!arguments.json) {
                printResult(*file, result, prepared.settings);
                continue;
            }
            Json::Value object{{"relativePath", Json::text(file->relativePath)}};
            object.update(Json::value(result));
            Terminal::print("{}\n", Json::line(object));
            Terminal::flush();
        } catch (const Cancelled &) {
            throw;
        } catch (const std::exception &error) {
            hasFailed = true;
            Terminal::complain(fmt::format("Stichprobe für „{}“ fehlgeschlagen: {}",
                                           Terminal::shown(file->url.filename().native()),
                                           Terminal::shown(ErrorText::describe(error))));
        }
    }
    return hasFailed ? ExitStatus::fileFailed : ExitStatus::done;
}

} // namespace kestrel
