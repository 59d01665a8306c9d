#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel {

// Describes a film that an interrupted swap on a share has left under its hidden name, and how to restore it.
struct HiddenOriginal {
    std::filesystem::path hidden; // its path now
    std::filesystem::path film;   // the free name that it gets back
    bool isThere = true;          // false while its share is not mounted where the swap was

    bool operator==(const HiddenOriginal &) const = default;

    std::string title() const;    // what has happened to which film; German
    std::string moveLine() const; // the shell command that brings the film back
};

// Describes hidden originals that a scan found; the journal has their full names.
std::vector<HiddenOriginal> hiddenOriginals(const std::vector<std::filesystem::path> &met);
inline constexpr std::string_view pendingSwapsTitle =
    "Unterbrochene Tauschvorgänge"; // heading of a list of them
// Returns these and all others that the journal knows of: the swaps that wait for their repair.
std::vector<HiddenOriginal> pendingSwaps(const std::vector<std::filesystem::path> &met);
// Returns where the journal's hidden originals lie on shares that are mounted at another place now. Examines
// every mounted share.
std::vector<std::filesystem::path> hiddenOriginalsElsewhere();

} // namespace kestrel
