#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace kestrel {

// What the window is started for.
struct WindowOptions {
    std::optional<std::filesystem::path> folder;    // opened once the tools are located
    bool usesTestSuite = false;                     // of the stored settings
    std::optional<std::filesystem::path> snapshots; // demo: where the pictures of all screens go
    bool isDark = false;                            // of a demo
};

// Shows the window until it is closed; returns the program's exit status.
int runWindow(const WindowOptions &options, const std::string &version);

} // namespace kestrel
