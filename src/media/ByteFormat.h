#pragma once

#include <cstdint>
#include <string>

// Formats byte counts for people in decimal units (1 KB = 1000 bytes), as file managers do: "0 Byte", "15
// KB", "1,5 MB", "2,35 GB".
namespace kestrel::ByteFormat {

std::string string(std::int64_t bytes);
// Not a number and infinity count as 0; values beyond 64 bits are clamped.
std::string string(double bytes);

} // namespace kestrel::ByteFormat
