#pragma once

#include <filesystem>

#include "planning/ConversionSettings.h"

namespace kestrel {

// Checks, before the long work, whether its result will be able to take its place. Throws ToolError with a
// German sentence, or the file system's error, where that is foreseeably impossible. `file` is the source,
// `root` the opened folder. In the output folder a hidden work file is created and removed.
void requirePlace(const std::filesystem::path &file, const ConversionSettings &settings,
                  const std::filesystem::path &root);

} // namespace kestrel
