#pragma once

#include <filesystem>
#include <optional>
#include <system_error>

// Implements the desktop's trash (freedesktop.org Trash specification 1.0). It uses no toolkit, because names
// that are no valid UTF-8 must survive and callers must learn the reason of a failure.
namespace kestrel::Trash {

// Moves the file to the trash and returns where it lies now. Only ever renames, never copies and never
// deletes: first to the user's own trash, then to the one at the root of the file's volume. Throws
// std::filesystem::filesystem_error when neither can take it; the file is then where it was.
std::filesystem::path put(const std::filesystem::path &file);

// Returns the user's own trash, which may not exist yet.
std::filesystem::path homeFolder();

// Describes what keeps put() from moving a file.
struct Obstacle {
    enum class Kind {
        lockedFile,   // immutable or append-only
        lockedFolder, // likewise the folder that holds the file
        folder,       // nothing may be changed in it
        anothersFile, // in a sticky folder, where only its owner may move it
        trash,        // can neither be used nor created
    };
    Kind kind = Kind::trash;
    std::error_code reason;

    bool operator==(const Obstacle &) const = default;
};

// Reports what can be determined without changing anything. Throws std::filesystem::filesystem_error when the
// file does not exist.
std::optional<Obstacle> obstacle(const std::filesystem::path &file);

} // namespace kestrel::Trash
