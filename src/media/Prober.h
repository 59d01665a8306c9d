#pragma once

#include <cstddef>
#include <filesystem>
#include <set>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "media/MediaInfo.h"
#include "platform/Files.h"

#include <time.h>

// Finds the videos of a folder and reads their media records. It shares no state: every function may be
// called from any thread.
namespace kestrel::Prober {

struct Listing {
    std::vector<std::filesystem::path> videos;
    std::vector<std::filesystem::path> setAside; // originals that no swap should have left behind
};
// Reads the folder once: for findVideos(), and for the hidden originals that it skips.
Listing list(const std::filesystem::path &root, std::stop_token stop);
Listing list(const std::filesystem::path &root, const std::set<std::filesystem::path> &names,
             std::stop_token stop);

// Returns all video files below the folder, in natural order of their full paths. Skips hidden names and the
// contents of packages, follows no links; what cannot be listed is skipped.
std::vector<std::filesystem::path> findVideos(const std::filesystem::path &root, std::stop_token stop);

// Returns those of the named files (relative paths, in normal form) that the above would find. Reads nothing
// else, however large the folder is.
std::vector<std::filesystem::path> findVideos(const std::filesystem::path &root,
                                              const std::set<std::filesystem::path> &names,
                                              std::stop_token stop);

// Returns the hidden files that interrupted runs left beside the originals. Throws Cancelled.
std::vector<std::filesystem::path> findLeftovers(const std::filesystem::path &root, std::stop_token stop);
// Deletes them and returns how many. A file that a running process has locked stays.
std::size_t removeLeftovers(const std::vector<std::filesystem::path> &leftovers);

// Returns the file's path below the root, for display; its bare name where it does not lie there.
std::filesystem::path relativePath(const std::filesystem::path &file, const std::filesystem::path &root);

// The sentence for a file that ffprobe cannot read, in German; used with the error's whole text where ffprobe
// gives no reason.
inline constexpr std::string_view unreadableFile = "Datei konnte nicht gelesen werden";

// Runs ffprobe on one file; blocks. Throws ToolError, the JSON parser's or the file system's error, or
// Cancelled.
MediaInfo probe(const std::filesystem::path &file, const std::filesystem::path &ffprobe,
                std::stop_token stop);

// These are the two halves of probe(): ask() returns ffprobe's own answer with its supplement (see
// ProbeSupplement), read() the record of a file with these attributes.
std::string ask(const std::filesystem::path &file, const std::filesystem::path &ffprobe,
                std::stop_token stop);
MediaInfo read(const std::string &answer, const std::filesystem::path &file,
               const Files::Attributes &attributes);

// Maps ffprobe's JSON object to the record. Never throws on unexpected content: what is not understood counts
// as missing.
MediaInfo parse(const nlohmann::json &answer, const std::filesystem::path &file, std::int64_t fileSize,
                FileTime modified);

FileTime asTime(const timespec &time);

} // namespace kestrel::Prober
