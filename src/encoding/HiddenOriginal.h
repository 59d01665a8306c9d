#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel {

// A film that a cut-off swap on a share has left under its hidden name, and how it comes back.
struct HiddenOriginal {
    std::filesystem::path hidden; // where it lies
    std::filesystem::path film;   // the name that it gets back; a free one
    bool isThere = true;          // false while its share is not mounted where the swap was

    bool operator==(const HiddenOriginal &) const = default;

    std::string title() const;    // German: what has happened to which film
    std::string moveLine() const; // for a shell; brings the film back
};

// Describes hidden originals that a scan met on the disk; the journal knows their full names.
std::vector<HiddenOriginal> hiddenOriginals(const std::vector<std::filesystem::path> &met);
inline constexpr std::string_view pendingSwapsTitle = "Unterbrochene Tauschvorgänge"; // over a list of them
// Adds the others that the journal knows of: all swaps that wait for their repair.
std::vector<HiddenOriginal> pendingSwaps(const std::vector<std::filesystem::path> &met);
// Where the journal's hidden originals lie on shares that are mounted at another place now. Looks at every
// mounted share.
std::vector<std::filesystem::path> hiddenOriginalsElsewhere();

} // namespace kestrel
