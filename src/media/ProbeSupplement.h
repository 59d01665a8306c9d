#pragma once

#include <filesystem>
#include <stop_token>

#include <nlohmann/json_fwd.hpp>

#include "media/MediaInfo.h"

// What ffprobe's plain answer does not contain, and a few films need: edit lists, how many pictures a track
// has where there are several, and where the last packet ends if the duration is unknown or cannot be true.
namespace kestrel::ProbeSupplement {

// The key under which the supplement stands in the stored answer, beside ffprobe's own "streams" and
// "format".
inline constexpr const char *key = "kestrel";

// Its version; an answer that was stored with another one must be asked for again.
inline constexpr int version = 1;

// Looks for what this file needs; an empty object where it needs nothing. `info` is what the plain answer
// gives. Blocks: may run ffprobe again, over the whole file at worst. Throws Cancelled; what cannot be found
// out is missing.
nlohmann::json find(const nlohmann::json &answer, const MediaInfo &info, const std::filesystem::path &ffprobe,
                    const std::stop_token &stop);

} // namespace kestrel::ProbeSupplement
