#pragma once

#include <chrono>
#include <string>

namespace kestrel {

// Returns "2026-01-02T20:15:00Z": the moment in UTC, whatever the local time zone is, without parts of a
// second.
std::string timestamp(std::chrono::system_clock::time_point time);

} // namespace kestrel
