#pragma once

#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

// Reads the values of ffprobe's JSON, which may be missing, of another type or nonsense. Pure.
namespace kestrel::ProbeAnswer {

// The member, or a null value that lives for ever.
const nlohmann::json &at(const nlohmann::json &object, const char *key);
// Finite, of a number or a numeric text.
std::optional<double> asDouble(const nlohmann::json &value);
std::optional<std::string> asString(const nlohmann::json &value);

// The indexes of the video tracks of which nothing states whether they have more than one picture; empty
// unless the file has several that are no cover art.
std::vector<int> uncountedTracks(const nlohmann::json &answer);

} // namespace kestrel::ProbeAnswer
