#pragma once

#include <filesystem>
#include <string>

// Returns the application's fixed paths. Nothing here creates a folder.
namespace kestrel::Paths {

// Returns the user's home folder: $HOME, else the account's entry in the user database, else "/".
std::filesystem::path home();
// Returns $XDG_CACHE_HOME or ~/.cache.
std::filesystem::path caches();
// Returns the program's file in there for this computer: several may share a home folder, but not the memory
// or the programs that such a file is about.
std::filesystem::path cacheFile(const std::string &stem, const std::string &extension);
// Returns $XDG_CONFIG_HOME or ~/.config.
std::filesystem::path configuration();
// Returns $XDG_DATA_HOME or ~/.local/share.
std::filesystem::path applicationSupport();
// Returns the folder in which results for a share are made; an instance that runs alone empties it.
std::filesystem::path workFolder();
// Returns the system's temporary folder: $TMPDIR or /tmp.
std::filesystem::path temporary();

} // namespace kestrel::Paths
