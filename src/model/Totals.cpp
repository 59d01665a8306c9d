#include "model/Totals.h"

#include <algorithm>

#include <fmt/format.h>

namespace kestrel {

Totals::Share Totals::shareOf(const FileItem &item)
{
    return {item.isCounted(),     item.isActionable(), item.probeError.has_value(),
            item.mayBeIncomplete, item.bytesBefore(),  item.bytesAfter()};
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
        if (!item->isCounted())
            continue;
        ++totals.files;
        totals.sourceBytes += item->bytesBefore();
        totals.duration += item->durationValue();
        totals.estimatedBytes += item->bytesAfter();
        if (!item->isActionable() || !item->estimate)
            continue;
        ++totals.actionable;
        totals.encodeSeconds += item->estimate->encodeSeconds;
        totals.weakestKind =
            std::min(totals.weakestKind.value_or(item->estimate->kind), item->estimate->kind);
        if (item->estimate->vmaf)
            totals.vmafValues.push_back(*item->estimate->vmaf);
    }
    totals.encodeSeconds /= parallelGain(settings.codec, settings.parallelJobs);
    return totals;
}

std::string Totals::gradeText() const
{
    if (!weakestKind)
        return {};
    const std::string grade(label(*weakestKind));
    return *weakestKind == SizeEstimate::Kind::calibrated
               ? fmt::format("{} ({} {})", grade, samples, samples == 1 ? "Datei" : "Dateien")
               : grade;
}

} // namespace kestrel
