#pragma once

#include <filesystem>
#include <string>

#include <nlohmann/json.hpp>

#include "encoding/StorageLocation.h"
#include "media/MediaInfo.h"
#include "model/FileItem.h"
#include "model/Totals.h"
#include "planning/Estimator.h"
#include "planning/Plan.h"
#include "planning/SampleResult.h"

// Converts the records to JSON: keys in the order of the fields, null for what is absent, derived values
// last.
namespace kestrel::Json {

using Value = nlohmann::ordered_json;

Value text(const std::filesystem::path &path); // broken bytes become U+FFFD
Value value(const StorageLocation &location);
Value value(const MediaInfo &info);
Value value(const Plan &plan);
Value value(const SizeEstimate &estimate);
Value value(const SampleResult &result);
Value value(const Totals &totals);
Value value(const FileItem &file, const ConversionSettings &settings, const std::filesystem::path &root);

// Returns the value on one line, whatever bytes are in it.
std::string line(const Value &value);

} // namespace kestrel::Json
