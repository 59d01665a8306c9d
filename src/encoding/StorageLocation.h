#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "platform/Volume.h"

namespace kestrel {

// Describes the storage that an opened folder lies on, which decides how originals are replaced.
struct StorageLocation {
    enum class Kind { network, local, external };

    Kind kind = Kind::local;
    std::string protocol; // display name, only for `network`
    std::string volumeName;
    std::optional<std::string> remoteURL; // address under which a share can be mounted again
    bool hasRecycleBin = false;           // whether a share has one; false for other storage

    bool operator==(const StorageLocation &) const = default;

    bool isNetwork() const { return kind == Kind::network; }
    std::string title() const; // German

    // Never fails: a folder about which nothing can be found out counts as local.
    static StorageLocation detect(const std::filesystem::path &folder);
    static StorageLocation classify(const Volume &volume, const std::filesystem::path &folder);
};

std::string id(StorageLocation::Kind kind);

} // namespace kestrel
