#pragma once

#include <filesystem>
#include <optional>
#include <system_error>

// The desktop's trash (freedesktop.org Trash specification 1.0). Written here rather than taken from a
// toolkit, because names that are no valid UTF-8 must survive and callers must learn the reason of a failure.
namespace kestrel::Trash {

// Moves the file to the trash and returns where it lies now. Only ever renames, never copies and never
// deletes: first to the user's own trash, then to the one at the root of the file's volume. Throws
// std::filesystem::filesystem_error when neither can take it; the file is then where it was.
std::filesystem::path put(const std::filesystem::path &file);

// The user's own trash; may not exist yet.
std::filesystem::path homeFolder();

// What keeps put() from taking a file.
struct Obstacle {
    enum class Kind {
        lockedFile,   // immutable, or one that may only grow
        lockedFolder, // likewise the folder that holds the file
        folder,       // nothing may be changed in it
        anothersFile, // in a sticky folder, where only its owner may move it
        trash,        // can neither be used nor made
    };
    Kind kind = Kind::trash;
    std::error_code reason;

    bool operator==(const Obstacle &) const = default;
};

// Reports what can be seen without changing anything. Throws std::filesystem::filesystem_error when the
// file is not there.
std::optional<Obstacle> obstacle(const std::filesystem::path &file);

} // namespace kestrel::Trash
