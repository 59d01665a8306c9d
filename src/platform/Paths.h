#pragma once

#include <filesystem>

// The fixed places of the application. Nothing here creates a folder.
namespace kestrel::Paths {

// The user's home folder: $HOME, else the account's entry in the user database, else "/".
std::filesystem::path home();
// $XDG_CACHE_HOME or ~/.cache
std::filesystem::path caches();
// $XDG_CONFIG_HOME or ~/.config
std::filesystem::path configuration();
// $XDG_DATA_HOME or ~/.local/share
std::filesystem::path applicationSupport();
// The system's temporary folder: $TMPDIR or /tmp
std::filesystem::path temporary();

} // namespace kestrel::Paths
