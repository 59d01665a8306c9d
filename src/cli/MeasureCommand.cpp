#include <cstddef>
#include <string>

#include <fmt/format.h>

#include "cli/Commands.h"
#include "cli/Json.h"
#include "cli/Session.h"
#include "cli/Terminal.h"
#include "format/Fmt.h"
#include "model/FileState.h"
#include "model/Sentences.h"

namespace kestrel {

namespace {

constexpr std::size_t usualCount = 6;

void printResult(const FileItem &file, const SampleResult &result)
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
    const Plan &plan = *file.plan;
    const SizeEstimate &estimate = *file.estimate;
    const auto source = static_cast<double>(file.info->fileSize);
    if (!plan.encodesVideo())
        Terminal::print("  {}\n", measuredUnchanged);
    else
        Terminal::print("  {} → etwa {} ({}, {}) · Rechenzeit etwa {}\n", Fmt::bytes(source),
                        Fmt::bytes(estimate.total()), Fmt::change(source, estimate.total()),
                        label(estimate.kind), Fmt::duration(estimate.encodeSeconds));
    Terminal::flush();
}

void printJson(const FileItem &file, const SampleResult &result)
{
    Json::Value object{{"relativePath", Json::text(file.relativePath)}};
    object.update(Json::value(result));
    Terminal::print("{}\n", Json::line(object));
    Terminal::flush();
}

void clearProgress()
{
    if (Terminal::isErrorTerminal())
        Terminal::writeError("\r\x1b[K");
}

} // namespace

int runMeasure(const Arguments &arguments, Interrupt &interrupt)
{
    const auto folder = requireFolder(arguments.folder);
    Session session(arguments, interrupt, Session::Access::readOnly);
    session.open(folder);
    AppModel &model = session.model();
    bool hasFailed = session.missing() > 0;
    const std::string key = model.settings().videoKey();
    const bool searches = model.tools()->measuring() != Measuring::nothing;
    QObject::connect(&model, &AppModel::sampling, [](const FileItem &file, double fraction) {
        if (Terminal::isErrorTerminal())
            Terminal::writeError(fmt::format("\r{}: {} {}\x1b[K", Terminal::shown(file.name()),
                                             FileState::of(file).line(), Fmt::percent(fraction)));
    });
    QObject::connect(&model, &AppModel::sampled, [&](const FileItem &file) {
        clearProgress();
        const SampleResult *result = file.sample(key);
        if (result == nullptr)
            return;
        arguments.json ? printJson(file, *result) : printResult(file, *result);
    });
    QObject::connect(&model, &AppModel::samplingFailed, [&](const FileItem &file, const std::string &text) {
        clearProgress();
        hasFailed = true;
        Terminal::complain(Sentences::sampleFailed(Terminal::shown(file.name()), Terminal::line(text)));
    });

    const auto usual = arguments.only.empty() ? std::optional(usualCount) : std::nullopt; // or all of --only
    model.startSampling(arguments.count ? arguments.count : usual, std::nullopt);
    if (!model.isBusy())
        Terminal::complain("In diesem Ordner wird kein Video neu kodiert.");
    else if (!searches)
        Terminal::complain(
            "Das Messen der Qualität ist abgeschaltet: gemessen werden nur Größe und Tempo bei "
            "der voreingestellten Qualität.");
    session.waitUntilIdle();
    session.showTheEnd();
    return hasFailed ? ExitStatus::fileFailed : ExitStatus::done;
}

} // namespace kestrel
