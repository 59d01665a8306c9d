#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "platform/Volume.h"

namespace kestrel {

// The kind of storage that an opened folder lies on; decides how originals are replaced.
struct StorageLocation {
    enum class Kind { network, local, external };

    Kind kind = Kind::local;
    std::string protocol; // display name, only for `network`
    std::string volumeName;
    std::optional<std::string> remoteURL; // address under which a share can be mounted again
    bool hasRecycleBin = false;           // of a share; always false otherwise

    bool operator==(const StorageLocation &) const = default;

    bool isNetwork() const { return kind == Kind::network; }
    std::string title() const; // German

    // Never fails: what cannot be found out falls back to a local folder.
    static StorageLocation detect(const std::filesystem::path &folder);
    static StorageLocation classify(const Volume &volume, const std::filesystem::path &folder);
};

std::string id(StorageLocation::Kind kind);

} // namespace kestrel
