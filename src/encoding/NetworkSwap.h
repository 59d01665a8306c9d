#pragma once

#include <cstdint>
#include <filesystem>

namespace kestrel {

// Puts a finished file in the place of an original on a network share, under the swap journal, so that a
// crash at any point can be repaired. `replacement` lies in the same folder and is on the disk already;
// `newSize` is its size in bytes. Afterwards the original is deleted, which moves it into the share's
// recycle bin where there is one. Throws ToolError with the original in its old place.
void swapOnNetwork(const std::filesystem::path &source, const std::filesystem::path &replacement,
                   const std::filesystem::path &final, std::int64_t newSize);

} // namespace kestrel
