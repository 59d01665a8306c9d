#pragma once

#include <filesystem>
#include <string>

// The fixed places of the application. Nothing here creates a folder.
namespace kestrel::Paths {

// The user's home folder: $HOME, else the account's entry in the user database, else "/".
std::filesystem::path home();
// $XDG_CACHE_HOME or ~/.cache
std::filesystem::path caches();
// A file of the program's in there, of this computer: several may share a home folder, and neither the memory
// nor the programs that such a file is about.
std::filesystem::path cacheFile(const std::string &stem, const std::string &extension);
// $XDG_CONFIG_HOME or ~/.config
std::filesystem::path configuration();
// $XDG_DATA_HOME or ~/.local/share
std::filesystem::path applicationSupport();
// The folder in which results for a share are made; the only running instance empties it.
std::filesystem::path workFolder();
// The system's temporary folder: $TMPDIR or /tmp
std::filesystem::path temporary();

} // namespace kestrel::Paths
