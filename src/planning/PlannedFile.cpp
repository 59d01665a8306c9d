#include "planning/PlannedFile.h"

#include <utility>

namespace kestrel {

PlannedFile PlannedFile::of(const MediaInfo &info, const ConversionSettings &settings,
                            const Knowledge &knowledge)
{
    const auto &[sample, contentFactor, speedFactor, abilities] = knowledge;
    Plan plan = sample != nullptr ? Planner::planMeasured(info, settings, *sample, abilities)
                                  : Planner::plan(info, settings, std::nullopt, abilities);
    const SizeEstimate estimate =
        Estimator::estimate(info, plan, settings, sample, contentFactor, speedFactor);
    return {std::move(plan), estimate};
}

} // namespace kestrel
