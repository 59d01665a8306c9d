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

// From a folder to media records. It shares no state: every function may be called from any thread.
namespace kestrel::Prober {

struct Listing {
    std::vector<std::filesystem::path> videos;
    std::vector<std::filesystem::path> setAside; // originals that no swap should have left behind
};
// One way through the folder: findVideos, and what it passes by under a hidden name.
Listing list(const std::filesystem::path &root, std::stop_token stop);
Listing list(const std::filesystem::path &root, const std::set<std::filesystem::path> &names,
             std::stop_token stop);

// All video files below the folder, in natural order of their full paths. Skips hidden names and the
// contents of packages, follows no links; what cannot be listed is passed over.
std::vector<std::filesystem::path> findVideos(const std::filesystem::path &root, std::stop_token stop);

// Those of the named files (relative paths, in normal form) that the above would find. Looks at nothing else,
// however large the folder is.
std::vector<std::filesystem::path> findVideos(const std::filesystem::path &root,
                                              const std::set<std::filesystem::path> &names,
                                              std::stop_token stop);

// The hidden files that interrupted runs left beside the originals. Throws Cancelled.
std::vector<std::filesystem::path> findLeftovers(const std::filesystem::path &root, std::stop_token stop);
// Deletes them; returns how many. One that a running process has locked is left.
std::size_t removeLeftovers(const std::vector<std::filesystem::path> &leftovers);

// Where the file lies below the root, for display; its bare name where it does not lie there.
std::filesystem::path relativePath(const std::filesystem::path &file, const std::filesystem::path &root);

// The sentence for a file that ffprobe cannot read; German. The error's whole text where ffprobe gives no
// reason.
inline constexpr std::string_view unreadableFile = "Datei konnte nicht gelesen werden";

// Runs ffprobe on one file; blocks. Throws ToolError, the JSON parser's or the file system's error, or
// Cancelled.
MediaInfo probe(const std::filesystem::path &file, const std::filesystem::path &ffprobe,
                std::stop_token stop);

// The two halves of probe(): ffprobe's own answer with what it lacks (see ProbeSupplement), and the
// record of a file with these attributes.
std::string ask(const std::filesystem::path &file, const std::filesystem::path &ffprobe,
                std::stop_token stop);
MediaInfo read(const std::string &answer, const std::filesystem::path &file,
               const Files::Attributes &attributes);

// The mapping from ffprobe's JSON object to the record. Never throws on strange content: what is not
// understood counts as missing.
MediaInfo parse(const nlohmann::json &answer, const std::filesystem::path &file, std::int64_t fileSize,
                FileTime modified);

FileTime asTime(const timespec &time);

} // namespace kestrel::Prober
