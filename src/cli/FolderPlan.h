#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "encoding/StorageLocation.h"
#include "media/MediaInfo.h"
#include "media/Tools.h"
#include "planning/ConversionSettings.h"
#include "planning/Estimator.h"
#include "planning/Plan.h"
#include "platform/FilePath.h"

namespace kestrel {

// One video file of a folder: what it is, what would be done with it, and what that would bring.
struct PlannedFile {
    FilePath url;
    FilePath relativePath; // below the opened folder
    std::optional<MediaInfo> info;
    std::optional<std::string> probeError; // why there is no info
    bool mayBeIncomplete = false;          // changed so recently that it may still be growing
    std::optional<Plan> plan;
    std::optional<SizeEstimate> estimate;

    // The part of ffprobe's text that says most, on one line.
    std::string shortProbeError() const;
    bool isCounted() const { return info && !mayBeIncomplete; }
    bool isActionable() const { return isCounted() && plan && !plan->isNoop; }
};

// Sums over the counted files.
struct PlanTotals {
    std::size_t files = 0;      // counted
    std::size_t actionable = 0; // of them, those with something to do
    std::int64_t sourceBytes = 0;
    double estimatedBytes = 0;
    double encodeSeconds = 0;                      // with the jobs side by side
    double duration = 0;                           // seconds
    std::optional<SizeEstimate::Kind> weakestKind; // among the actionable
    std::size_t incomplete = 0, errors = 0;        // not counted
};

// A folder, searched, probed and planned.
struct FolderPlan {
    using OnProbed = std::function<void(std::size_t done, std::size_t total)>; // on any thread, serialised

    std::filesystem::path folder;
    StorageLocation storage;
    std::vector<PlannedFile> files; // in natural order

    // Probes at most eight files at a time; blocks. Throws Cancelled.
    static FolderPlan scan(const std::filesystem::path &folder, const Tools &tools, const OnProbed &onProbed,
                           std::stop_token stop);
    // Plans and estimates every probed file.
    void planAll(const ConversionSettings &settings);
    PlanTotals totals(const ConversionSettings &settings) const;
};

// What the user is to know before originals are replaced there; absent where they go to a trash.
std::optional<std::string> warning(const StorageLocation &storage, const ConversionSettings &settings);

// The folder as an absolute path. Throws UsageError when it cannot be opened.
std::filesystem::path requireFolder(const std::filesystem::path &given);

} // namespace kestrel
