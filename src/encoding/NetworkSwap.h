#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Files.h"

namespace kestrel {

// Why a source stays that another program has changed; German.
inline constexpr std::string_view changedSource =
    "Die Datei wurde während der Umwandlung verändert – sie bleibt, wie sie ist.";

// Puts a finished file in the place of an original on a network share, under the swap journal, so that a
// crash at any point can be repaired. `replacement` lies in the same folder and is on the disk already;
// `newSize` is its size in bytes; `expected` is what was converted: a source that is another one now is
// left alone. Afterwards the original is deleted, which moves it into the share's recycle bin where there is
// one. What lies under the backup's hidden name already is an original from a swap that could not be
// repaired; it gets a visible name. Returns what an original that could not be deleted is now called and why,
// as a German sentence. Throws ToolError with the original in its old place.
std::optional<std::string> swapOnNetwork(const std::filesystem::path &source,
                                         const Files::Attributes &expected,
                                         const std::filesystem::path &replacement,
                                         const std::filesystem::path &final, std::int64_t newSize);

} // namespace kestrel
