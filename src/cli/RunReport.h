#pragma once

#include <memory>
#include <string>

#include "model/AppModel.h"
#include "model/FileState.h"

namespace kestrel {

// Holds one file's state as it changes during a run.
struct FileReport {
    const FileItem *item = nullptr;
    FileState state;
};

// Shows a run as it happens. REQUIRES: all functions are called on the main thread.
class RunReporter {
public:
    virtual ~RunReporter() = default;
    virtual void started(const RunStats &run) = 0;
    virtual void changed(const FileReport &report) = 0;
    virtual void progressed(const AppModel &) {}
    virtual void finished(const RunStats &run) = 0;
};

// Returns "fertig, 1,2 GB → 500 MB (−58 %)"; for a terminal.
std::string describeState(const FileReport &report);

// Prints one JSON object a line.
std::unique_ptr<RunReporter> makeJsonReporter();
// Prints a line at each change of state.
std::unique_ptr<RunReporter> makeLineReporter();
// Prints, for a terminal, a line that stays for each file that ended; below them, repainted four times a
// second, a line for each running file and one for the whole.
std::unique_ptr<RunReporter> makeLiveReporter();

} // namespace kestrel
