#include "platform/Volume.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <fstream>
#include <string_view>
#include <vector>

#include "platform/Files.h"
#include "platform/Text.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/sysmacros.h>

namespace kestrel {

namespace fs = std::filesystem;

namespace {

struct TypeName {
    std::string_view here, required;
};

constexpr std::array<TypeName, 9> networkTypes{{
    {"cifs", "smbfs"},
    {"smb3", "smbfs"},
    {"fuse.smbnetfs", "smbfs"},
    {"nfs", "nfs"},
    {"nfs4", "nfs"},
    {"fuse.afpfs", "afpfs"},
    {"fuse.davfs2", "webdav"},
    {"fuse.curlftpfs", "ftp"},
    {"fuse.sshfs", "sftp"},
}};

// A desktop's virtual mount names the protocol in the first folder below it, up to a ":" where the address
// follows.
constexpr std::array<TypeName, 9> virtualProtocols{{
    {"smb-share", "smbfs"},
    {"smb", "smbfs"},
    {"nfs", "nfs"},
    {"afp-volume", "afpfs"},
    {"afp", "afpfs"},
    {"dav", "webdav"},
    {"davs", "webdav"},
    {"ftp", "ftp"},
    {"sftp", "sftp"},
}};

template <std::size_t Size>
std::optional<std::string_view> translated(const std::array<TypeName, Size> &table, std::string_view name)
{
    const auto *found =
        std::find_if(table.begin(), table.end(), [&](const TypeName &row) { return row.here == name; });
    return found == table.end() ? std::nullopt : std::optional(found->required);
}

// The table of mounts writes blanks, tabs, line ends and backslashes as three octal digits.
std::string unescaped(std::string_view field)
{
    std::string result;
    for (std::size_t i = 0; i < field.size(); ++i) {
        int code = 0;
        if (field[i] == '\\' && i + 3 < field.size() &&
            std::from_chars(&field[i + 1], &field[i + 4], code, 8).ptr == &field[i + 4]) {
            result += static_cast<char>(code);
            i += 3;
        } else {
            result += field[i];
        }
    }
    return result;
}

std::vector<std::string_view> words(std::string_view line)
{
    std::vector<std::string_view> result;
    while (!line.empty()) {
        const std::size_t end = std::min(line.find(' '), line.size());
        if (end > 0)
            result.push_back(line.substr(0, end));
        line.remove_prefix(std::min(end + 1, line.size()));
    }
    return result;
}

bool isBelow(const fs::path &path, const fs::path &folder)
{
    return std::mismatch(folder.begin(), folder.end(), path.begin(), path.end()).first == folder.end();
}

std::optional<Mount> mountOf(const fs::path &path)
{
    std::vector<Mount> mounts = Mount::all();
    struct statx status {};
    if (::statx(AT_FDCWD, path.c_str(), 0, STATX_MNT_ID, &status) == 0 &&
        (status.stx_mask & STATX_MNT_ID) != 0)
        for (auto &mount : mounts)
            if (mount.id == status.stx_mnt_id)
                return std::move(mount);

    // On an older kernel, it is the mount with the longest point above the path, the last of several.
    std::optional<Mount> best;
    for (auto &mount : mounts)
        if (isBelow(path, mount.point) &&
            (!best || mount.point.native().size() >= best->point.native().size()))
            best = std::move(mount);
    return best;
}

bool readsOne(const fs::path &file)
{
    std::ifstream stream(file);
    int value = 0;
    return stream >> value && value == 1;
}

// Follows partitions, LUKS and LVM down to the disk.
bool isRemovableDevice(const fs::path &device, int depth = 0)
{
    std::error_code error;
    const fs::path real = fs::canonical(device, error);
    if (error || depth > 8)
        return false;
    for (const auto &part : real)
        if (part.native().starts_with("usb") || part.native().starts_with("fw") ||
            part.native().starts_with("mmc_host"))
            return true;
    if (readsOne(real / "removable") || readsOne(real.parent_path() / "removable"))
        return true;
    for (const auto &below : Files::list(real / "slaves", error))
        if (isRemovableDevice(below, depth + 1))
            return true;
    return false;
}

std::optional<fs::path> blockDevice(const Mount &mount)
{
    struct stat status {};
    if (::stat(mount.source.c_str(), &status) != 0 || !S_ISBLK(status.st_mode))
        return std::nullopt;
    return fs::path("/sys/dev/block") /
           (std::to_string(major(status.st_rdev)) + ":" + std::to_string(minor(status.st_rdev)));
}

// Reads udev's links to labelled file systems, which write blanks and the like as \x20.
std::optional<std::string> diskLabel(const Mount &mount)
{
    std::error_code error;
    const fs::path device = fs::canonical(mount.source, error);
    if (error)
        return std::nullopt;
    for (const auto &link : Files::list("/dev/disk/by-label", error)) {
        std::error_code unreadable;
        if (fs::canonical(link, unreadable) != device)
            continue;
        const std::string raw = link.filename().native();
        std::string label;
        for (std::size_t i = 0; i < raw.size(); ++i) {
            unsigned code = 0;
            if (raw.compare(i, 2, "\\x") == 0 && i + 3 < raw.size() &&
                std::from_chars(&raw[i + 2], &raw[i + 4], code, 16).ptr == &raw[i + 4]) {
                label += static_cast<char>(code);
                i += 3;
            } else {
                label += raw[i];
            }
        }
        return label;
    }
    return std::nullopt;
}

std::optional<std::string> lastComponent(const fs::path &path)
{
    const fs::path name = path.filename();
    return name.empty() ? std::nullopt : std::optional(name.native());
}

std::string value(std::string_view fields, std::string_view key)
{
    for (std::size_t start = 0; start < fields.size();) {
        const std::size_t end = std::min(fields.find(',', start), fields.size());
        const std::string_view field = fields.substr(start, end - start);
        if (field.starts_with(key) && field.substr(key.size()).starts_with('='))
            return std::string(field.substr(key.size() + 1));
        start = end + 1;
    }
    return {};
}

// Returns the address of "user@host:/folder"; a folder without "/" lies in the user's own one.
std::optional<std::string> sftpAddress(std::string_view source)
{
    const std::size_t bracket = source.find(']'); // closes an IPv6 address, which has colons itself
    const std::size_t colon = source.find(':', bracket == std::string_view::npos ? 0 : bracket);
    if (colon == std::string_view::npos)
        return std::nullopt;
    const std::string_view folder = source.substr(colon + 1);
    return "sftp://" + std::string(source.substr(0, colon)) + (folder.starts_with('/') ? "" : "/~/") +
           std::string(folder);
}

// Reads a path below gvfs, which has one folder "protocol:key=value,…" for each share.
void describeGvfs(Volume &volume, const Mount &mount, const fs::path &path)
{
    const fs::path below = path.lexically_relative(mount.point);
    if (below.empty())
        return;
    const std::string folder = below.begin()->native();
    const std::size_t colon = std::min(folder.find(':'), folder.size());
    const std::string protocol = folder.substr(0, colon);
    const auto type = translated(virtualProtocols, protocol);
    if (!type)
        return;
    const std::string_view fields = std::string_view(folder).substr(std::min(colon + 1, folder.size()));
    const std::string server =
        value(fields, "server").empty() ? value(fields, "host") : value(fields, "server");
    const std::string share =
        value(fields, "share").empty() ? value(fields, "volume") : value(fields, "share");
    volume.fileSystemType = *type;
    volume.root = mount.point / folder;
    volume.name = !share.empty() ? share : !server.empty() ? server : folder;
    if (server.empty())
        return;
    const std::string scheme = protocol.substr(0, protocol.find('-'));
    volume.remountURL = scheme + "://" + server + "/" + share;
}

// Reads a path below kio-fuse: protocol / server / share / …
void describeKio(Volume &volume, const Mount &mount, const fs::path &path)
{
    const fs::path below = path.lexically_relative(mount.point);
    const std::vector<fs::path> parts(below.begin(), below.end());
    const auto type =
        parts.empty() ? std::nullopt : translated(virtualProtocols, std::string_view(parts[0].native()));
    if (!type)
        return;
    volume.fileSystemType = *type;
    const bool hasShare = *type == "smbfs" || *type == "afpfs";
    const std::size_t depth = std::min<std::size_t>(parts.size(), hasShare ? 3 : 2);
    fs::path root = mount.point;
    for (std::size_t i = 0; i < depth; ++i)
        root /= parts[i];
    volume.root = root;
    volume.name = parts[depth - 1].native();
    if (depth > 1) {
        std::string address = parts[0].native() + ":/";
        for (std::size_t i = 1; i < depth; ++i)
            address += "/" + parts[i].native();
        volume.remountURL = address;
    }
}

} // namespace

std::optional<Mount> Mount::parse(std::string_view line)
{
    const std::vector<std::string_view> fields = words(line);
    const auto separator = std::find(fields.begin(), fields.end(), "-");
    if (fields.size() < 7 || fields.end() - separator < 3)
        return std::nullopt;
    Mount mount;
    const auto *end = fields[0].data() + fields[0].size();
    if (std::from_chars(fields[0].data(), end, mount.id).ptr != end)
        return std::nullopt;
    mount.point = unescaped(fields[4]);
    mount.type = unescaped(separator[1]);
    mount.source = unescaped(separator[2]);
    return mount;
}

std::vector<Mount> Mount::all()
{
    std::vector<Mount> mounts;
    std::ifstream table("/proc/self/mountinfo");
    for (std::string line; std::getline(table, line);)
        if (auto mount = parse(line))
            mounts.push_back(std::move(*mount));
    return mounts;
}

Volume describeMount(const Mount &mount, const fs::path &path)
{
    Volume volume;
    volume.fileSystemType = mount.type;
    volume.root = mount.point;
    volume.name = lastComponent(mount.point);

    if (mount.type == "fuse.gvfsd-fuse") {
        describeGvfs(volume, mount, path);
    } else if (mount.type == "fuse.kio-fuse") {
        describeKio(volume, mount, path);
    } else if (const auto type = translated(networkTypes, mount.type)) {
        volume.fileSystemType = *type;
        if (*type == "smbfs" && mount.source.starts_with("//"))
            volume.remountURL = "smb:" + mount.source;
        else if (const auto colon = mount.source.find(":/"); *type == "nfs" && colon != std::string::npos)
            volume.remountURL = "nfs://" + mount.source.substr(0, colon) + mount.source.substr(colon + 1);
        else if (*type == "sftp")
            volume.remountURL = sftpAddress(mount.source);
        else if (mount.source.find("://") != std::string::npos)
            volume.remountURL = mount.source;
    } else if (mount.type == "fuse" &&
               (mount.source.starts_with("http://") || mount.source.starts_with("https://"))) {
        volume.fileSystemType = "webdav";
        volume.remountURL = mount.source;
    } else if (mount.type == "fuse" && mount.source.starts_with("curlftpfs#")) {
        volume.fileSystemType = "ftp";
        volume.remountURL = mount.source.substr(std::string_view("curlftpfs#").size());
    }
    return volume;
}

Volume Volume::of(const fs::path &path)
{
    std::error_code error;
    const fs::path real = fs::canonical(path, error);
    const auto mount = mountOf(error ? path : real);
    if (!mount)
        return {};
    Volume volume = describeMount(*mount, error ? path : real);
    if (const auto device = blockDevice(*mount)) {
        volume.isInternal = !isRemovableDevice(*device);
        if (auto label = diskLabel(*mount))
            volume.name = std::move(label);
    }
    if (volume.name)
        volume.name = Text::repaired(*volume.name);
    return volume;
}

std::optional<std::int64_t> Volume::freeBytes(const fs::path &path)
{
    struct statvfs status {};
    if (::statvfs(path.c_str(), &status) != 0)
        return std::nullopt;
    return static_cast<std::int64_t>(status.f_bavail) * static_cast<std::int64_t>(status.f_frsize);
}

} // namespace kestrel
