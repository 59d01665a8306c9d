#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace kestrel {

// Says what the window is started for.
struct WindowOptions {
    std::optional<std::filesystem::path> folder;    // opened once the tools are located
    bool usesTestSuite = false;                     // uses testSuite() for the stored settings
    std::optional<std::filesystem::path> snapshots; // demo: the folder for pictures of all screens
    bool isDark = false;                            // for a demo
};

// Shows the window until it is closed; returns the program's exit status.
int runWindow(const WindowOptions &options, const std::string &version);

} // namespace kestrel
