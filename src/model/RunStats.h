#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "encoding/ConversionJob.h"
#include "model/FileItem.h"

namespace kestrel {

// The books of one conversion run; they outlive it. Progress is counted in weights, which are the
// estimated seconds of encoding. Files go by their FileItem::id.
//
// Times are of a clock that stands still for nobody: a changed wall clock must not make a run's duration
// negative, and a computer that sleeps does not work.
struct RunStats {
    using Clock = std::chrono::steady_clock;

    std::chrono::system_clock::time_point startedAt{}; // for display
    Clock::time_point started{};
    std::optional<Clock::time_point> finished;
    std::size_t total = 0;
    std::vector<FilePath> order;                     // as they are started
    std::vector<FilePath> finishedOrder;             // as they ended
    std::unordered_map<std::string, double> weights; // at least 1 each; by the path's bytes
    double totalWeight = 0;                          // the sum of all weights
    double doneWeight = 0;
    std::int64_t bytesBefore = 0, bytesAfter = 0; // of the converted files
    std::size_t converted = 0, noSavings = 0, failed = 0;
    double resumedWeight = 0; // of files that were found converted already
    std::chrono::duration<double> pausedTotal{0};
    std::optional<Clock::time_point> pauseStarted;

    // The books of a run that begins now.
    static RunStats of(const std::vector<FileItem *> &files);

    double weight(const FilePath &id) const; // 0 for an unknown file
    std::size_t processed() const { return converted + noSavings + failed; }
    bool isComplete() const { return processed() == total; }
    double activeSeconds(Clock::time_point now = Clock::now()) const;
    void finish(const FilePath &id, const std::optional<ConversionOutcome> &outcome);

    // 0 … 1; `inWork` are the files in somebody's hands now.
    double progress(const std::vector<const FileItem *> &inWork) const;
    // Seconds; absent after the end, and until the run has come far enough to tell.
    std::optional<double> remaining(const std::vector<const FileItem *> &inWork) const;
    // Weight per second: the run's own rate, or the usual one until it is known. Never 0.
    double rate(const std::vector<const FileItem *> &inWork, double usualRate) const;
    // How long the run needs for what is left of these files, with this rate (weight per second) until its
    // own is known.
    std::chrono::seconds secondsFor(const std::vector<FileItem *> &items,
                                    const std::vector<const FileItem *> &inWork, double usualRate) const;

    // German, for the user.
    std::string finishedText() const;
    std::optional<std::string> soFarText() const;

private:
    struct Work {
        double total = 0, done = 0; // weights, without the files that were found converted
    };
    std::optional<Work> work(const std::vector<const FileItem *> &inWork) const;
};

} // namespace kestrel
