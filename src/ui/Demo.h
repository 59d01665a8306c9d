#pragma once

#include <filesystem>

namespace kestrel {

// Scans the folder, shows a made-up run, and writes a picture of every screen with a caption that says so. It
// touches no file of the folder. Returns the program's exit status.
int runDemo(const std::filesystem::path &folder, const std::filesystem::path &pictures);

} // namespace kestrel
