#include "encoding/StorageLocation.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "platform/Enumeration.h"
#include "platform/Files.h"
#include "platform/Text.h"

namespace kestrel {

namespace fs = std::filesystem;

namespace {

struct NetworkType {
    std::string_view type, protocol;
};

constexpr std::array<NetworkType, 6> networkTypes{{
    {"smbfs", "SMB"},
    {"nfs", "NFS"},
    {"afpfs", "AFP"},
    {"webdav", "WebDAV"},
    {"ftp", "FTP"},
    {"sftp", "SFTP"},
}};

constexpr std::array<const char *, 4> recycleBins{".recycle", "#recycle", "@Recycle", ".Trashes"};

} // namespace

std::string id(StorageLocation::Kind kind)
{
    constexpr std::array<const char *, 3> names{"network", "local", "external"};
    static_assert(names.size() == caseCount<StorageLocation::Kind>);
    return names[static_cast<std::size_t>(kind)];
}

std::string StorageLocation::title() const
{
    switch (kind) {
    case Kind::network:
        return "Netzwerk (" + protocol + ")";
    case Kind::external:
        return "Lokal (extern)";
    case Kind::local:
        break;
    }
    return "Lokal";
}

StorageLocation StorageLocation::detect(const fs::path &folder)
{
    return classify(Volume::of(folder), Files::standardized(folder));
}

StorageLocation StorageLocation::classify(const Volume &volume, const fs::path &folder)
{
    StorageLocation location;
    location.volumeName = volume.name.value_or(Text::shown(folder.filename()));
    location.remoteURL = volume.remountURL;
    const auto *network = std::find_if(networkTypes.begin(), networkTypes.end(), [&](const NetworkType &row) {
        return row.type == volume.fileSystemType;
    });
    if (network == networkTypes.end()) {
        location.kind = volume.isInternal == false ? Kind::external : Kind::local;
        return location;
    }
    location.kind = Kind::network;
    location.protocol = network->protocol;
    const fs::path root = volume.root.value_or(folder);
    location.hasRecycleBin = std::any_of(recycleBins.begin(), recycleBins.end(),
                                         [&](const char *name) { return Files::exists(root / name); });
    return location;
}

} // namespace kestrel
