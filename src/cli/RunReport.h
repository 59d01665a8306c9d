#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "model/AppModel.h"

namespace kestrel {

enum class FileStatus { idle, analyzing, running, uploading, done, noSavings, failed };
std::string_view id(FileStatus status);

// One file's state as it changes during a run.
struct FileReport {
    const FileItem *item = nullptr;
    FileStatus status = FileStatus::idle;
    std::optional<double> fraction, fps;
    std::optional<std::int64_t> oldSize, newSize; // bytes
    std::optional<std::filesystem::path> finalURL;
    std::optional<std::string> text; // why it failed, or what else is to be known
    bool isQuoted = false;           // in the bare words of a program
    bool isSearch = false;           // analyzing: for the quality, not only a single measurement

    // Absent while the file waits for its turn.
    static std::optional<FileReport> of(const FileItem &item);
};

// Shows a run as it happens. All calls come on the main thread.
class RunReporter {
public:
    virtual ~RunReporter() = default;
    virtual void started(const RunStats &run) = 0;
    virtual void changed(const FileReport &report) = 0;
    virtual void progressed(const AppModel &) {}
    virtual void finished(const RunStats &run) = 0;
};

// "fertig, 1,2 GB → 500 MB (−58 %)"
std::string describeState(const FileReport &report);

// What is done to a film that is analyzed.
std::string_view analysis(bool isSearch);

// One JSON object a line.
std::unique_ptr<RunReporter> makeJsonReporter();
// A line at each change of state.
std::unique_ptr<RunReporter> makeLineReporter();
// For a terminal: a line that is kept for each file that ended; below them, repainted four times a
// second, a line for each running file and one for the whole.
std::unique_ptr<RunReporter> makeLiveReporter();

} // namespace kestrel
