#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "model/FileItem.h"
#include "planning/ConversionSettings.h"

namespace kestrel {

// Sums up the library: counted files and those of a run, except that the last three fields cover all files.
struct Totals {
    std::size_t files = 0;
    std::size_t actionable = 0; // of them, those with something to do
    std::int64_t sourceBytes = 0;
    double estimatedBytes = 0;                     // files that are left alone count with their own size
    double encodeSeconds = 0;                      // of the actionable, with the jobs in parallel
    double duration = 0;                           // seconds
    std::optional<SizeEstimate::Kind> weakestKind; // among the actionable
    std::vector<double> vmafValues;                // measured, of the actionable
    std::size_t samples = 0;                       // files whose samples correct the estimates for the others
    std::size_t incomplete = 0, errors = 0;        // files still being copied; not readable

    // Holds the fields of an item that the totals depend on.
    struct Share {
        bool isCounted, isActionable, hasError, isIncomplete;
        std::int64_t before;
        double after;
        bool operator==(const Share &) const = default;
    };
    static Share shareOf(const FileItem &item);
    // Returns the computing time that is left, where it is worth mentioning.
    std::optional<double> shownSeconds() const;
    // Returns the quality of the estimate: "hochgerechnet aus Stichproben (3 Dateien)"; empty without one.
    std::string gradeText() const;
    static Totals of(const std::vector<std::unique_ptr<FileItem>> &items, const ConversionSettings &settings);
};

} // namespace kestrel
