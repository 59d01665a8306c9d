#pragma once

#include <filesystem>
#include <stop_token>

#include <nlohmann/json_fwd.hpp>

#include "media/MediaInfo.h"

// Finds what ffprobe's plain answer lacks and a few films need: edit lists, how many pictures a track has
// where there are several, and where the last packet ends if the duration is unknown or cannot be true.
namespace kestrel::ProbeSupplement {

// The key under which the supplement stands in the stored answer, beside ffprobe's own "streams" and
// "format".
inline constexpr const char *key = "kestrel";

// Its version; an answer that was stored with another one must be obtained again.
inline constexpr int version = 1;

// Finds what this file needs; returns an empty object where it needs nothing. `info` is read from the plain
// answer. Blocks: may run ffprobe again, over the whole file at worst. Throws Cancelled; what cannot be found
// out is missing.
nlohmann::json find(const nlohmann::json &answer, const MediaInfo &info, const std::filesystem::path &ffprobe,
                    const std::stop_token &stop);

} // namespace kestrel::ProbeSupplement
