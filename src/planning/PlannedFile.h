#pragma once

#include <optional>

#include "planning/Estimator.h"
#include "planning/Planner.h"

namespace kestrel {

// Describes what a conversion does with one file, how large the result will be and how long it takes.
struct PlannedFile {
    Plan plan;
    SizeEstimate estimate;

    // Holds what a plan depends on beside the file's probe and the settings.
    struct Knowledge {
        const SampleResult *sample = nullptr; // the file's own for settings.videoKey(); may be null
        std::optional<double> contentFactor, speedFactor; // learnt from samples of other files
        Planner::Abilities abilities;
    };

    // Returns the same plan and estimate wherever a file is planned. Pure.
    static PlannedFile of(const MediaInfo &info, const ConversionSettings &settings,
                          const Knowledge &knowledge);
};

} // namespace kestrel
