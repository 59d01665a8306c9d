#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/FolderPlan.h"

namespace kestrel {

enum class FileStatus { idle, analyzing, running, uploading, done, noSavings, failed };
std::string_view id(FileStatus status);

// One file's state as it changes during a run.
struct FileReport {
    std::size_t index = 0; // in the run
    FileStatus status = FileStatus::idle;
    std::optional<double> fraction, fps;
    std::optional<std::int64_t> oldSize, newSize; // bytes
    std::optional<std::filesystem::path> finalURL;
    std::optional<std::string> text; // why it failed
};

// What a whole run came to.
struct RunSummary {
    std::size_t total = 0, converted = 0, noSavings = 0, failed = 0;
    std::int64_t bytesBefore = 0, bytesAfter = 0; // of the converted files
    double seconds = 0;

    std::size_t processed() const { return converted + noSavings + failed; }
    std::string finishedText() const;             // German
    std::optional<std::string> soFarText() const; // German; absent while nothing was converted
};

// The files of a run, in its order.
using RunFiles = std::vector<const PlannedFile *>;

// Shows a run as it happens. All calls come one at a time.
class RunReporter {
public:
    virtual ~RunReporter() = default;
    virtual void started(const RunFiles &files) = 0;
    virtual void changed(const FileReport &report) = 0;
    virtual void finished(const RunSummary &summary) = 0;
};

// "fertig, 1,2 GB → 500 MB (−58 %)"
std::string describeState(const FileReport &report);

// One JSON object a line.
std::unique_ptr<RunReporter> makeJsonReporter();
// A line at each change of state.
std::unique_ptr<RunReporter> makeLineReporter();
// For a terminal: a line that is kept for each file that ended; below them, repainted four times a
// second, a line for each running file and one for the whole.
std::unique_ptr<RunReporter> makeLiveReporter();

} // namespace kestrel
