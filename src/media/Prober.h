#pragma once

#include <cstddef>
#include <filesystem>
#include <stop_token>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "media/MediaInfo.h"

#include <time.h>

// From a folder to media records. No shared state: everything may run on any thread.
namespace kestrel::Prober {

// All video files below the folder, in natural order of their full paths. Skips hidden names and the
// contents of packages, follows no links; what cannot be listed is passed over.
std::vector<std::filesystem::path> findVideos(const std::filesystem::path &root, std::stop_token stop);

// Deletes the hidden files that an interrupted run left beside the originals; returns how many. One that
// a running process has locked is left. Throws Cancelled.
std::size_t removeLeftovers(const std::filesystem::path &root, std::stop_token stop);

// Where the file lies below the root, for display; its bare name where it does not lie there.
std::filesystem::path relativePath(const std::filesystem::path &file, const std::filesystem::path &root);

// Runs ffprobe on one file; blocks. Throws ToolError, the JSON parser's or the file system's error, or
// Cancelled.
MediaInfo probe(const std::filesystem::path &file, const std::filesystem::path &ffprobe,
                std::stop_token stop);

// The mapping from ffprobe's JSON object to the record. Never throws on strange content: what is not
// understood counts as missing.
MediaInfo parse(const nlohmann::json &answer, const std::filesystem::path &file, std::int64_t fileSize,
                FileTime modified);

FileTime asTime(const timespec &time);

} // namespace kestrel::Prober
