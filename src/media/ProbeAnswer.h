#pragma once

#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

// Reads the values of ffprobe's JSON, which may be missing, of another type or nonsense. Pure.
namespace kestrel::ProbeAnswer {

// Returns the member, or a null value with static lifetime.
const nlohmann::json &at(const nlohmann::json &object, const char *key);
// Returns a finite number, from a number or a numeric text.
std::optional<double> asDouble(const nlohmann::json &value);
std::optional<std::string> asString(const nlohmann::json &value);

// Returns the indexes of the video tracks for which nothing states whether they have more than one picture;
// empty unless the file has several that are no cover art.
std::vector<int> uncountedTracks(const nlohmann::json &answer);

} // namespace kestrel::ProbeAnswer
