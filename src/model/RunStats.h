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

// Counts the results of one conversion run, and outlives it. Progress is counted in weights, which are the
// estimated seconds of encoding. FileItem::id identifies a file.
//
// Times are monotonic: they are unaffected by wall-clock changes, and do not count a computer's sleep.
struct RunStats {
    using Clock = std::chrono::steady_clock;

    std::chrono::system_clock::time_point startedAt{}; // for display
    Clock::time_point started{};
    std::optional<Clock::time_point> finished;
    std::size_t total = 0;
    std::vector<FilePath> order;                     // in the order of starting
    std::vector<FilePath> finishedOrder;             // in the order of ending
    std::unordered_map<std::string, double> weights; // at least 1 each; by the path's bytes
    double totalWeight = 0;                          // the sum of all weights
    double doneWeight = 0;
    std::int64_t bytesBefore = 0, bytesAfter = 0; // of the converted files
    std::size_t converted = 0, noSavings = 0, failed = 0;
    double resumedWeight = 0; // of files that were found to be converted already
    std::chrono::duration<double> pausedTotal{0};
    std::optional<Clock::time_point> pauseStarted;
    double usualRate = 1; // weight per second that is assumed until the run's own rate is known

    // Returns the stats of a run with these settings that begins now.
    static RunStats of(const std::vector<FileItem *> &files, const ConversionSettings &settings);

    // Begin and end a pause; further calls in the same state change nothing.
    void pause(Clock::time_point now = Clock::now());
    void resume(Clock::time_point now = Clock::now());

    double weight(const FilePath &id) const; // 0 for an unknown file
    std::size_t processed() const { return converted + noSavings + failed; }
    bool isComplete() const { return processed() == total; }
    double activeSeconds(Clock::time_point now = Clock::now()) const;
    void finish(const FilePath &id, const std::optional<ConversionOutcome> &outcome);

    // Returns 0 … 1; `inWork` are the files that are being worked on now.
    double progress(const std::vector<const FileItem *> &inWork) const;
    // Returns seconds; absent after the end, and until the run has come far enough for an estimate.
    std::optional<double> remaining(const std::vector<const FileItem *> &inWork) const;
    // Returns weight per second: the run's own rate, or the usual one until it is known. Never 0.
    double rate(const std::vector<const FileItem *> &inWork) const;
    // Returns how long the run needs for the rest of these files.
    std::chrono::seconds secondsFor(const std::vector<FileItem *> &items,
                                    const std::vector<const FileItem *> &inWork) const;

    // These texts are German, for the user.
    std::string finishedText() const;
    std::optional<std::string> soFarText() const;
    std::optional<std::string> savedText() const; // soFarText() without its first word

private:
    struct Work {
        double total = 0, done = 0; // weights, without those of files that were found to be converted already
    };
    std::optional<Work> work(const std::vector<const FileItem *> &inWork) const;
};

} // namespace kestrel
