#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Files.h"

namespace kestrel {

// The reason why a source that another program has changed stays; German.
inline constexpr std::string_view changedSource =
    "Die Datei wurde während der Umwandlung verändert – sie bleibt, wie sie ist.";

// Puts a finished file in the place of an original on a network share, under the swap journal, so that a
// crash at any point can be repaired. `newSize` is its size in bytes; `expected` describes the file that was
// converted: a source that differs from it now is left alone. Afterwards the original is deleted, which moves
// it into the share's recycle bin where there is one. A file that already has the backup's hidden name is an
// original from a swap that could not be repaired; it gets a visible name. Returns the name of an original
// that could not be deleted and the reason, as a German sentence. Throws ToolError with the original in its
// old place. REQUIRES: `replacement` lies in the same folder and is on the disk already.
std::optional<std::string> swapOnNetwork(const std::filesystem::path &source,
                                         const Files::Attributes &expected,
                                         const std::filesystem::path &replacement,
                                         const std::filesystem::path &final, std::int64_t newSize);

} // namespace kestrel
