#pragma once

#include <filesystem>

namespace kestrel {

// Scans the folder, shows a run that is made up, and writes a picture of every screen, which says so. No file
// of the folder is touched. Returns the program's exit status.
int runDemo(const std::filesystem::path &folder, const std::filesystem::path &pictures);

} // namespace kestrel
