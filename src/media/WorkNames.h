#pragma once

#include <filesystem>
#include <string>
#include <string_view>

// The names that the program gives to films besides their own: the only place that knows their spelling.
namespace kestrel::WorkNames {

// A hidden name is "." + base + one of these suffixes.
// An encode that is being written. ffmpeg knows the container by the extension.
std::string temporarySuffix(std::string_view extension);
// The copy of a result while it is brought to a share.
inline constexpr std::string_view uploadSuffix = ".kestrel-upload";
// An original that a swap on a share has moved aside; its base is the film's whole name.
inline constexpr std::string_view originalSuffix = ".kestrel-original";

// An interrupted run left it behind: exactly the hidden names of temporary files and of uploads, and never
// that of an original, whatever its film is called. Expects a bare name, as the following.
bool isLeftover(const std::filesystem::path &name);
// An original that waits under its hidden name.
bool isHiddenOriginal(const std::filesystem::path &name);

// The hidden name of an original of this name, and the way back, for whole paths or bare names.
std::filesystem::path hiddenOriginal(const std::filesystem::path &film);
std::filesystem::path filmOf(const std::filesystem::path &hiddenOriginal);

// The visible mark of a result between stem and extension: "" for 0, then " (Kestrel)", " (Kestrel 2)" …
std::string resultMark(int number);
// "Film (Original).avi", "Film (Original 2).avi" …: an original beside the file that has replaced it.
std::filesystem::path visibleOriginal(const std::filesystem::path &film, int number);
// "Filme (Kestrel)" beside "Filme": where results go that replace nothing.
std::filesystem::path outputFolder(const std::filesystem::path &folder);

// All hidden names, as a shell would match them, for people.
std::string hiddenPatterns();

} // namespace kestrel::WorkNames
