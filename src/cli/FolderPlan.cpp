#include "cli/FolderPlan.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <mutex>
#include <system_error>
#include <thread>

#include "cli/Arguments.h"
#include "cli/Terminal.h"
#include "media/Prober.h"
#include "planning/Planner.h"
#include "platform/Cancelled.h"
#include "platform/ErrorText.h"
#include "platform/Files.h"
#include "platform/Text.h"

namespace kestrel {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t probesAtOnce = 8;
constexpr std::chrono::seconds growingAge{90};

struct ProbeReason {
    std::string_view text, german;
};

// What ffprobe says about most files that it cannot read.
constexpr std::array<ProbeReason, 5> probeReasons{{
    {"Invalid data found when processing input", "kein Video, oder unvollständig"},
    {"End of file", "bricht gleich am Anfang ab"},
    {"Permission denied", "keine Berechtigung"},
    {"Input/output error", "Lesefehler"},
    {"No such file or directory", "nicht mehr vorhanden"},
}};

void probe(PlannedFile &file, const Tools &tools, const std::stop_token &stop)
{
    try {
        file.info = Prober::probe(file.url, tools.ffprobe, stop);
        file.mayBeIncomplete = std::chrono::system_clock::now() - file.info->modified < growingAge;
    } catch (const Cancelled &) {
        return;
    } catch (const std::exception &error) {
        file.probeError = ErrorText::describe(error);
    }
}

} // namespace

// Of several lines the last says most; before its reason stands the path, which is shown anyway.
std::string PlannedFile::shortProbeError() const
{
    std::string_view error = Text::trimmed(*probeError);
    error.remove_prefix(error.rfind('\n') + 1);
    const std::size_t colon = error.rfind(": ");
    const std::string_view reason = colon == std::string_view::npos ? error : error.substr(colon + 2);
    const auto *known = std::find_if(probeReasons.begin(), probeReasons.end(),
                                     [&](const ProbeReason &row) { return row.text == reason; });
    return std::string(known == probeReasons.end() ? reason : known->german);
}

FolderPlan FolderPlan::scan(const fs::path &folder, const Tools &tools, const OnProbed &onProbed,
                            std::stop_token stop)
{
    FolderPlan result;
    result.folder = folder;
    result.storage = StorageLocation::detect(folder);
    for (const auto &path : Prober::findVideos(folder, stop)) {
        PlannedFile file;
        file.relativePath = Prober::relativePath(path, folder);
        file.url = path;
        result.files.push_back(std::move(file));
    }

    std::atomic<std::size_t> next = 0;
    std::mutex reporting;
    std::size_t done = 0; // guarded by reporting
    const auto work = [&] {
        for (std::size_t i = 0; (i = next++) < result.files.size() && !stop.stop_requested();) {
            probe(result.files[i], tools, stop);
            const std::scoped_lock guard(reporting);
            onProbed(++done, result.files.size());
        }
    };
    {
        std::vector<std::jthread> workers;
        for (std::size_t i = 0; i < std::min(probesAtOnce, result.files.size()); ++i)
            workers.emplace_back(work);
    }
    throwIfStopped(stop);
    return result;
}

void FolderPlan::planAll(const ConversionSettings &settings)
{
    for (auto &file : files) {
        if (!file.info)
            continue;
        file.plan = Planner::plan(*file.info, settings, std::nullopt);
        file.estimate =
            Estimator::estimate(*file.info, *file.plan, settings, nullptr, std::nullopt, std::nullopt);
    }
}

PlanTotals FolderPlan::totals(const ConversionSettings &settings) const
{
    PlanTotals totals;
    for (const auto &file : files) {
        totals.errors += file.probeError ? 1 : 0;
        totals.incomplete += file.mayBeIncomplete ? 1 : 0;
        if (!file.isCounted())
            continue;
        ++totals.files;
        totals.sourceBytes += file.info->fileSize;
        totals.duration += file.info->duration;
        totals.estimatedBytes += file.estimate->total();
        if (!file.isActionable())
            continue;
        ++totals.actionable;
        totals.encodeSeconds += file.estimate->encodeSeconds;
        totals.weakestKind = std::min(totals.weakestKind.value_or(file.estimate->kind), file.estimate->kind);
    }
    totals.encodeSeconds /= parallelGain(settings.codec, settings.parallelJobs);
    return totals;
}

std::optional<std::string> warning(const StorageLocation &storage, const ConversionSettings &settings)
{
    if (!storage.isNetwork() || storage.hasRecycleBin || settings.outputMode != OutputMode::replaceOriginal)
        return std::nullopt;
    return "Achtung: Das Netzlaufwerk hat keinen Papierkorb – das Original wird nach erfolgreicher Prüfung "
           "endgültig gelöscht.";
}

fs::path requireFolder(const fs::path &given)
{
    std::error_code error;
    // "..", read literally, leads astray behind a symbolic link.
    const bool climbs = std::find(given.begin(), given.end(), "..") != given.end();
    const fs::path folder = Files::standardized(climbs ? fs::canonical(given, error) : given);
    if (!error && fs::exists(folder, error) && !fs::is_directory(folder, error))
        throw UsageError("„" + Terminal::shown(given.native()) + "“ ist kein Ordner.");
    if (!error)
        fs::directory_iterator(folder, error);
    if (error)
        throw UsageError("Der Ordner „" + Terminal::shown(given.native()) +
                         "“ kann nicht gelesen werden: " + ErrorText::describe(error) + ".");
    return folder;
}

} // namespace kestrel
