#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "media/MediaInfo.h"
#include "model/JobStatus.h"
#include "model/VideoText.h"
#include "planning/PlannedFile.h"
#include "planning/SampleResult.h"
#include "platform/FilePath.h"

namespace kestrel {

struct TableNode;

// Describes one file of the library. Views hold it as const, and Library notifies them of changes; only the
// model writes to it, through Library. REQUIRES: the main thread.
struct FileItem {
    FileItem(const std::filesystem::path &file, const std::filesystem::path &root);

    FilePath id;           // the path at the scan; never changes
    FilePath url;          // where the file is now
    FilePath relativePath; // below the opened folder, for display
    std::optional<MediaInfo> info;
    std::optional<std::string> probeError;       // reason for missing info
    bool mayBeIncomplete = false;                // it changed so recently that it may still be growing
    bool included = true;                        // the user's check mark
    std::optional<Plan> plan;                    // for the current settings
    std::optional<SizeEstimate> estimate;        // likewise
    std::map<std::string, SampleResult> samples; // by ConversionSettings::videoKey()
    bool isSampling = false;
    double samplingFraction = 0; // 0 … 1
    JobStatus status = Status::Idle{};
    std::optional<std::filesystem::path> resultURL; // path of the converted file, once it is done
    double fps = 0;                                 // of the encoder, while running
    // Holds what the run does with the file, with the run's settings; present while the file waits or is in
    // work.
    struct RunPlan {
        std::shared_ptr<const ConversionSettings> settings;
        PlannedFile planned;
    };
    std::optional<RunPlan> inRun;
    // Whether the current run, or else the last one, includes the file; absent before the first.
    std::optional<bool> isOfRun;
    std::optional<VideoText> converted; // the picture before and after, once the file is done
    TableNode *row = nullptr;           // in the table that shows it
    bool needsPlan = true;              // info or samples are newer than plan and estimate; kept by Library

    std::string name() const;             // of the file, as its exact bytes
    std::filesystem::path folder() const; // part of relativePath, empty directly below the root
    std::int64_t sizeValue() const { return info ? info->fileSize : 0; }
    double durationValue() const { return info ? info->playTime() : 0; }
    double estimateValue() const { return estimate ? estimate->total() : 0; }
    bool isFinished() const { return is<Status::Done>(status); }
    bool hasOutcome() const { return isFinished() || is<Status::NoSavings>(status); }
    bool isCounted() const { return included && info && !mayBeIncomplete; }
    bool isActionable() const { return isCounted() && plan && !plan->isNoop && !isFinished(); }
    // Return what is shown of a file: in a run, that run's; otherwise what the current settings ask for. Null
    // where nothing is known.
    const Plan *shownPlan() const;
    const SizeEstimate *shownEstimate() const;
    const ConversionSettings &shownSettings(const ConversionSettings &current) const
    {
        return inRun ? *inRun->settings : current;
    }
    // The same two for sums: what a run includes does not depend on settings and check mark.
    bool entersSums() const { return inRun || isCounted(); }
    bool willBeConverted() const { return inRun ? !inRun->planned.plan.isNoop : isActionable(); }
    // Returns whether there is anything to choose, and with it a check mark: the file is not known to be
    // unreadable, done, or without anything to do.
    bool isChoosable() const;
    // Return bytes before and after the run: the result's where the file is done, else what is expected or
    // kept.
    std::int64_t bytesBefore() const;
    double bytesAfter() const;
    double runFraction() const; // 0 … 1
    const SampleResult *sample(const std::string &videoKey) const;

    // Returns the most specific part of ffprobe's text, on one line.
    std::string shortProbeError() const;
    // Returns the same in German, where it is one of the usual reasons.
    std::optional<std::string> knownProbeError() const;
    // Returns the whole text below a sentence of our own.
    std::string explainedProbeError() const;

private:
    std::string_view probeReason() const;
};

} // namespace kestrel
