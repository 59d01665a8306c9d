#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace kestrel {

// Holds what the status page shows: finished texts and numbers, which the page does not format. All text is
// UTF-8 and German. The page keys its colours and layout on the listed words.
struct StatusSnapshot {
    struct Tile {
        std::string icon; // "drive", "compress", "save", "clock"
        std::string tone; // "plain", "green"
        std::string value, caption;

        bool operator==(const Tile &) const = default;
    };
    // Describes a file in work.
    struct Job {
        std::string name, folder;
        std::string state; // "analyzing", "running", "uploading"
        std::string text;
        std::optional<double> progress; // 0 … 1

        bool operator==(const Job &) const = default;
    };
    struct Folder {
        std::string name;
        std::size_t processed = 0, count = 0; // files
        double progress = 0;                  // 0 … 1
        std::string state;                    // "done", "working", "open"
        std::optional<std::string> eta;       // day and time

        bool operator==(const Folder &) const = default;
    };
    // Describes a file that has ended.
    struct Recent {
        std::string name, text;
        std::string tone; // "plain", "green", "red"

        bool operator==(const Recent &) const = default;
    };

    std::string computer;
    std::optional<std::string> folder;   // the opened one
    std::optional<std::string> location; // its storage
    // "converting", "paused", "finished", "stopped", "scanning", "sampling", "probeClip", "idle"
    std::string state = "idle";
    std::string headline;
    std::optional<double> progress; // 0 … 1
    std::optional<std::string> progressText, note;
    std::vector<Tile> tiles;
    std::vector<Job> jobs;
    std::vector<Folder> folders;
    std::vector<Recent> recent;

    bool operator==(const StatusSnapshot &) const = default;

    // Returns the fields in order, without those that are absent. Broken UTF-8 becomes U+FFFD.
    std::string toJson() const;
};

// Returns a file's name as a person would say it: "Blade.Runner.1982.1080p.BluRay.x264.mkv" becomes "Blade
// Runner 1982". Where the name begins with that of the series, only the rest remains.
std::string displayName(const std::string &name, const std::optional<std::string> &series);

} // namespace kestrel
