#pragma once

#include <chrono>
#include <string>

namespace kestrel {

// "2026-01-02T20:15:00Z": the moment in UTC, whatever the local time zone is; parts of a second are dropped.
std::string timestamp(std::chrono::system_clock::time_point time);

} // namespace kestrel
