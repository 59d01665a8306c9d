#include "model/Totals.h"

#include <algorithm>

#include <fmt/format.h>

#include "format/Fmt.h"

namespace kestrel {

namespace {
constexpr double leastShown = 1; // second; less would read "0 s"
}

Totals::Share Totals::shareOf(const FileItem &item)
{
    return {item.entersSums(),    item.willBeConverted(), item.probeError.has_value(),
            item.mayBeIncomplete, item.bytesBefore(),     item.bytesAfter()};
}

Totals Totals::of(const std::vector<std::unique_ptr<FileItem>> &items, const ConversionSettings &settings)
{
    Totals totals;
    const std::string key = settings.videoKey();
    for (const auto &item : items) {
        totals.errors += item->probeError ? 1 : 0;
        totals.incomplete += item->mayBeIncomplete ? 1 : 0;
        const SampleResult *sample = item->sample(key);
        totals.samples += sample != nullptr && sample->calibrates() ? 1 : 0;
        if (!item->entersSums())
            continue;
        ++totals.files;
        totals.sourceBytes += item->bytesBefore();
        totals.duration += item->durationValue();
        totals.estimatedBytes += item->bytesAfter();
        const SizeEstimate *estimate = item->shownEstimate();
        if (!item->willBeConverted() || estimate == nullptr)
            continue;
        ++totals.actionable;
        totals.encodeSeconds += estimate->encodeSeconds;
        totals.weakestKind = std::min(totals.weakestKind.value_or(estimate->kind), estimate->kind);
        if (estimate->vmaf)
            totals.vmafValues.push_back(*estimate->vmaf);
    }
    totals.encodeSeconds /= parallelGain(settings.codec, settings.parallelJobs);
    return totals;
}

std::optional<double> Totals::shownSeconds() const
{
    return encodeSeconds >= leastShown ? std::optional(encodeSeconds) : std::nullopt;
}

std::string Totals::gradeText() const
{
    if (!weakestKind)
        return {};
    const std::string grade(label(*weakestKind));
    return *weakestKind == SizeEstimate::Kind::calibrated ? fmt::format("{} ({})", grade, Fmt::count(samples))
                                                          : grade;
}

} // namespace kestrel
