#pragma once

#include <filesystem>
#include <string>
#include <string_view>

// Forms the names that the program gives to films besides their own. No other file knows their spelling.
namespace kestrel::WorkNames {

// A hidden name is "." + base + one of these suffixes.
// Returns the suffix of an unfinished encode. ffmpeg recognises the container by the extension.
std::string temporarySuffix(std::string_view extension);
// The copy of a result while it is uploaded to a share.
inline constexpr std::string_view uploadSuffix = ".kestrel-upload";
// An original that a swap on a share has moved aside; its base is the film's whole name.
inline constexpr std::string_view originalSuffix = ".kestrel-original";

// Returns whether an interrupted run left it behind: exactly the hidden names of temporary files and of
// uploads, and never that of an original, whatever its film is called. REQUIRES: `name` is a bare name, also
// in the next function.
bool isLeftover(const std::filesystem::path &name);
// Returns whether it is an original that waits under its hidden name.
bool isHiddenOriginal(const std::filesystem::path &name);

// Convert an original's name to its hidden name and back, for whole paths or bare names.
std::filesystem::path hiddenOriginal(const std::filesystem::path &film);
std::filesystem::path filmOf(const std::filesystem::path &hiddenOriginal);

// Returns the visible mark of a result between stem and extension: "" for 0, then " (Kestrel)", " (Kestrel
// 2)" …
std::string resultMark(int number);
// Returns "Film (Original).avi", "Film (Original 2).avi" …: an original beside the file that has replaced it.
std::filesystem::path visibleOriginal(const std::filesystem::path &film, int number);
// Returns "Filme (Kestrel)" beside "Filme", the folder of results that replace nothing.
std::filesystem::path outputFolder(const std::filesystem::path &folder);

// Returns all hidden names, as a shell would match them, for people.
std::string hiddenPatterns();

} // namespace kestrel::WorkNames
