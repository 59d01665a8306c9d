#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel {

// Holds what the system reports about the volume of a path. Whatever it does not report is absent.
struct Volume {
    // The type has the names that StorageLocation uses: "smbfs", "nfs", "afpfs", "webdav", "ftp" and "sftp"
    // for the network file systems, the system's own name for any other, empty when unknown.
    std::string fileSystemType;
    std::optional<std::string> name;
    std::optional<bool> isInternal;
    std::optional<std::string> remountURL; // address under which a share can be mounted again
    std::optional<std::filesystem::path> root;

    static Volume of(const std::filesystem::path &path);
    // Returns the bytes that an ordinary user may still use there; absent when that is unknown.
    static std::optional<std::int64_t> freeBytes(const std::filesystem::path &path);
};

// Holds one line of the kernel's table of mounts.
struct Mount {
    std::uint64_t id = 0;
    std::filesystem::path point;
    std::string type, source;

    // Parses a line of /proc/self/mountinfo (proc(5)); absent when it has another form.
    static std::optional<Mount> parse(std::string_view line);
    static std::vector<Mount> all();
};

// Returns what a mount says about a path below it; the part of Volume::of that needs no disk. Exposed for
// tests.
Volume describeMount(const Mount &mount, const std::filesystem::path &path);

} // namespace kestrel
