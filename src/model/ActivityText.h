#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace kestrel {

class AppModel;

// Describes what the program is doing, or how its last work has ended: first the parts, then the sentences
// that the fronts make of them. German.
struct ActivityText {
    enum class State {
        idle,
        scanning,
        sampling,
        probeClip,
        converting,
        paused,
        finished,
        stopped,
        interrupted // a search that was stopped has left files that are not probed
    };

    State state = State::idle;
    bool isStopping = false;         // the work is about to end
    std::size_t done = 0;            // files, of `total`; interrupted: those that are not probed
    std::size_t total = 0;           // 0 where nothing is counted
    std::optional<double> progress;  // 0 … 1; absent where nothing progresses, and while it is unknown
    std::optional<double> remaining; // seconds, of a run
    std::size_t failed = 0;          // files, of a run
    // Set for a run, once a file is converted: "4,2 GB → 1,9 GB, 2,3 GB gespart (−54 %)".
    std::optional<std::string> saved;
    // For converting and paused, the same with "Bisher: "; for finished and stopped, "Fertig: 4 konvertiert –
    // …".
    std::optional<std::string> note;

    static ActivityText of(const AppModel &model);

    std::string headline() const;
    // Return "3 von 12", fileCount() also "Dateien"; empty where nothing is counted.
    std::string count() const;
    std::string fileCount() const;
    // Returns "wird gestoppt …", "Pausiert", "noch 5 min · fertig heute, 12:30"; may be empty.
    std::string detail() const;
    // Returns what has begun or ended, without numbers that change; for a screen reader.
    std::string announcement() const;
};

std::string_view id(ActivityText::State state);       // the word in the status page's JSON
std::string_view headline(ActivityText::State state); // German

} // namespace kestrel
