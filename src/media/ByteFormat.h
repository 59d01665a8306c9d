#pragma once

#include <cstdint>
#include <string>

// Byte counts for people in decimal units (1 KB = 1000 bytes), as file managers show them: "0 Byte",
// "15 KB", "1,5 MB", "2,35 GB".
namespace kestrel::ByteFormat {

std::string string(std::int64_t bytes);
// Not a number and infinity count as 0; values beyond 64 bits are held at their end.
std::string string(double bytes);

} // namespace kestrel::ByteFormat
