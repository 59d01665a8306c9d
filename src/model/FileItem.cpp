#include "model/FileItem.h"

#include <algorithm>
#include <array>
#include <string_view>

#include <fmt/format.h>

#include "media/Prober.h"
#include "platform/Text.h"

namespace kestrel {

namespace {

constexpr double uploadingFraction = 0.99; // nearly, never fully done

struct ProbeReason {
    std::string_view text, german;
};

// ffprobe reports one of these for most files that it cannot read.
constexpr std::array<ProbeReason, 5> probeReasons{{
    {"Invalid data found when processing input", "kein Video oder unvollständig"},
    {"End of file", "bricht gleich am Anfang ab"},
    {"Permission denied", "keine Berechtigung"},
    {"Input/output error", "Lesefehler"},
    {"No such file or directory", "nicht mehr vorhanden"},
}};

} // namespace

FileItem::FileItem(const std::filesystem::path &file, const std::filesystem::path &root)
    : id(file), url(file), relativePath(Prober::relativePath(file, root))
{
}

std::string FileItem::name() const
{
    return url.filename();
}

std::filesystem::path FileItem::folder() const
{
    return std::filesystem::path(relativePath).parent_path();
}

const Plan *FileItem::shownPlan() const
{
    return inRun ? &inRun->planned.plan : plan ? &*plan : nullptr;
}

const SizeEstimate *FileItem::shownEstimate() const
{
    return inRun ? &inRun->planned.estimate : estimate ? &*estimate : nullptr;
}

bool FileItem::isChoosable() const
{
    const Plan *shown = shownPlan();
    return !probeError && !(shown != nullptr && shown->isNoop) && !isFinished();
}

std::int64_t FileItem::bytesBefore() const
{
    const auto *done = std::get_if<Status::Done>(&status);
    return done != nullptr ? done->before : sizeValue();
}

double FileItem::bytesAfter() const
{
    if (const auto *done = std::get_if<Status::Done>(&status))
        return static_cast<double>(done->after);
    const bool shrinks = willBeConverted() && !is<Status::NoSavings>(status);
    const SizeEstimate *expected = shownEstimate();
    return !shrinks ? static_cast<double>(sizeValue()) : expected != nullptr ? expected->total() : 0;
}

double FileItem::runFraction() const
{
    if (const auto *running = std::get_if<Status::Running>(&status))
        return running->fraction;
    if (is<Status::Uploading>(status))
        return uploadingFraction;
    const bool hasEnded =
        is<Status::Done>(status) || is<Status::NoSavings>(status) || is<Status::Failed>(status);
    return hasEnded ? 1 : 0;
}

const SampleResult *FileItem::sample(const std::string &videoKey) const
{
    const auto found = samples.find(videoKey);
    return found != samples.end() ? &found->second : nullptr;
}

// Of several lines the last is the most specific; its reason follows the path, which is shown anyway.
std::string_view FileItem::probeReason() const
{
    std::string_view error = probeError ? Text::trimmed(*probeError) : std::string_view();
    error.remove_prefix(error.rfind('\n') + 1);
    const std::size_t colon = error.rfind(": ");
    return colon == std::string_view::npos ? error : error.substr(colon + 2);
}

std::optional<std::string> FileItem::knownProbeError() const
{
    const auto *known =
        std::find_if(probeReasons.begin(), probeReasons.end(),
                     [reason = probeReason()](const ProbeReason &entry) { return entry.text == reason; });
    return known != probeReasons.end() ? std::optional(std::string(known->german)) : std::nullopt;
}

std::string FileItem::shortProbeError() const
{
    return knownProbeError().value_or(std::string(probeReason()));
}

std::string FileItem::explainedProbeError() const
{
    if (!probeError)
        return {};
    const std::string_view error = Text::trimmed(*probeError);
    return error == Prober::unreadableFile ? std::string(error)
                                           : fmt::format("{}:\n{}", Prober::unreadableFile, error);
}

} // namespace kestrel
