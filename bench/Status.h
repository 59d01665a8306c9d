#pragma once

#include <nlohmann/json.hpp>

#include "model/AppModel.h"

namespace kestrel::bench {

// Starts converting the library and serves the status page to 32 connections at once. Measures what a
// snapshot costs, the requests a second, the main thread's share of a core, and how memory grows over 100,000
// requests.
nlohmann::ordered_json status(AppModel &model);

} // namespace kestrel::bench
