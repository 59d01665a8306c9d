#include "platform/Trash.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <ctime>
#include <optional>
#include <string>
#include <system_error>

#include <fmt/chrono.h>
#include <fmt/format.h>

#include "platform/FileDescriptor.h"
#include "platform/Files.h"
#include "platform/Paths.h"
#include "platform/Text.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace kestrel::Trash {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view infoExtension = ".trashinfo";

// Describes one trash folder and how the paths in its notes are written.
struct Can {
    fs::path folder;
    fs::path pathsRelativeTo; // empty: absolute
};

std::string note(const Can &can, const fs::path &file)
{
    const fs::path path = can.pathsRelativeTo.empty() ? file : file.lexically_relative(can.pathsRelativeTo);
    const std::time_t now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
    std::tm local{};
    ::localtime_r(&now, &local);
    return fmt::format("[Trash Info]\nPath={}\nDeletionDate={:%Y-%m-%dT%H:%M:%S}\n",
                       Text::percentEncoded(path.native()), local);
}

bool isOwnFolder(const fs::path &folder)
{
    struct stat status {};
    return ::lstat(folder.c_str(), &status) == 0 && S_ISDIR(status.st_mode) && status.st_uid == ::getuid();
}

bool isSharedTrash(const fs::path &folder)
{
    struct stat status {};
    return ::lstat(folder.c_str(), &status) == 0 && S_ISDIR(status.st_mode) &&
           (status.st_mode & S_ISVTX) != 0;
}

std::error_code lastError()
{
    return {errno, std::generic_category()};
}

// Renames work within one mount of one device: a device that is mounted twice counts as two places.
struct Place {
    std::uint64_t device = 0, mount = 0;
    bool operator==(const Place &) const = default;
};

Place placeOf(const fs::path &folder)
{
    struct statx status {};
    if (::statx(AT_FDCWD, folder.c_str(), 0, STATX_MNT_ID, &status) != 0)
        return {};
    return {makedev(status.stx_dev_major, status.stx_dev_minor), status.stx_mnt_id};
}

// Returns the topmost folder above the file that is in the file's place.
fs::path volumeRoot(const fs::path &file)
{
    fs::path root = file.parent_path();
    const Place place = placeOf(root);
    while (root.has_relative_path() && placeOf(root.parent_path()) == place)
        root = root.parent_path();
    return root;
}

fs::path nearestExisting(fs::path folder)
{
    while (folder.has_relative_path() && Files::presence(folder) == Files::Presence::absent)
        folder = folder.parent_path();
    return folder;
}

Can homeCan()
{
    return {homeFolder(), {}};
}

Can volumeCan(const fs::path &file)
{
    const fs::path root = volumeRoot(file);
    const std::string user = std::to_string(::getuid());
    if (isSharedTrash(root / ".Trash"))
        return {root / ".Trash" / user, root};
    return {root / (".Trash-" + user), root};
}

bool isForHome(const fs::path &file)
{
    return placeOf(nearestExisting(homeCan().folder)) == placeOf(file.parent_path());
}

std::error_code whyNotWritable(const fs::path &folder)
{
    return ::faccessat(AT_FDCWD, folder.c_str(), W_OK | X_OK, AT_EACCESS) == 0 ? std::error_code()
                                                                               : lastError();
}

// Returns why a folder of the trash can neither be used nor created.
std::error_code whyNotUsable(const fs::path &folder)
{
    const fs::path existing = nearestExisting(folder);
    std::error_code unreadable;
    if (existing == folder && !std::filesystem::is_directory(folder, unreadable))
        return std::make_error_code(std::errc::not_a_directory);
    if (existing == folder && !isOwnFolder(folder))
        return std::make_error_code(std::errc::permission_denied);
    return whyNotWritable(existing);
}

void makeFolder(const fs::path &folder)
{
    std::error_code error = whyNotUsable(folder);
    if (!error)
        fs::create_directories(folder.parent_path(), error);
    if (!error && ::mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST)
        error = lastError();
    if (!error && !isOwnFolder(folder))
        error = std::make_error_code(std::errc::permission_denied);
    if (error)
        throw fs::filesystem_error("trash", folder, error);
}

// Creates the note under the first free name and returns that name.
std::string reserveName(const Can &can, const fs::path &file)
{
    const fs::path info = can.folder / "info";
    const std::size_t room = Files::longestName(info) - infoExtension.size() - 8;
    const std::string stem(
        Text::prefix(file.stem().native(), room - std::min(room, file.extension().native().size())));
    for (int number = 1;; ++number) {
        const std::string name =
            (number == 1 ? stem : fmt::format("{} {}", stem, number)) + file.extension().native();
        const fs::path path = info / (name + std::string(infoExtension));
        const FileDescriptor descriptor(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
        if (!descriptor && errno == EEXIST)
            continue;
        const std::string text = note(can, file);
        const bool isWritten = descriptor && ::write(descriptor.get(), text.data(), text.size()) ==
                                                 static_cast<ssize_t>(text.size());
        if (isWritten && !Files::exists(can.folder / "files" / name)) {
            ::fsync(descriptor.get());
            return name;
        }
        const int code = errno;
        ::unlink(path.c_str());
        if (!isWritten)
            throw fs::filesystem_error("trash", path, std::error_code(code, std::generic_category()));
    }
}

fs::path putInto(const Can &can, const fs::path &file)
{
    makeFolder(can.folder);
    makeFolder(can.folder / "files");
    makeFolder(can.folder / "info");
    const std::string name = reserveName(can, file);
    const fs::path target = can.folder / "files" / name;
    try {
        Files::moveToFreeName(file, target);
    } catch (const fs::filesystem_error &) {
        ::unlink((can.folder / "info" / (name + std::string(infoExtension))).c_str());
        throw;
    }
    Files::trySync(can.folder / "info");
    Files::trySync(can.folder / "files");
    return target;
}

bool isLocked(const fs::path &path)
{
    struct statx status {};
    return ::statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW, 0, &status) == 0 &&
           (status.stx_attributes & (STATX_ATTR_IMMUTABLE | STATX_ATTR_APPEND)) != 0;
}

// Returns why the file itself cannot be moved, whatever the trash; checked first, so that the user reads the
// reason that matters.
std::optional<Obstacle> obstacleInPlace(const fs::path &file)
{
    using Kind = Obstacle::Kind;
    const auto forbidden = std::make_error_code(std::errc::operation_not_permitted);
    const fs::path folder = file.parent_path();
    struct stat own {
    }, above{};
    if (::lstat(file.c_str(), &own) != 0 || ::stat(folder.c_str(), &above) != 0)
        throw fs::filesystem_error("trash", file, lastError());
    if (isLocked(folder))
        return Obstacle{Kind::lockedFolder, forbidden};
    if (const auto error = whyNotWritable(folder))
        return Obstacle{Kind::folder, error};
    if (isLocked(file))
        return Obstacle{Kind::lockedFile, forbidden};
    const uid_t user = ::geteuid();
    if ((above.st_mode & S_ISVTX) != 0 && user != 0 && user != own.st_uid && user != above.st_uid)
        return Obstacle{Kind::anothersFile, forbidden};
    return std::nullopt;
}

// Resolves the folders above the file, but never the file itself.
fs::path resolved(const fs::path &path)
{
    const fs::path absolute = fs::absolute(path);
    return fs::canonical(absolute.parent_path()) / absolute.filename();
}

} // namespace

fs::path homeFolder()
{
    return Paths::applicationSupport() / "Trash";
}

fs::path put(const fs::path &path)
{
    const fs::path file = resolved(path);
    if (const auto obstacle = obstacleInPlace(file))
        throw fs::filesystem_error("trash", file, obstacle->reason);
    if (isForHome(file)) {
        try {
            return putInto(homeCan(), file);
        } catch (const fs::filesystem_error &error) {
            // Some file systems cannot rename even within one place.
            if (error.code() != std::errc::cross_device_link)
                throw;
        }
    }
    return putInto(volumeCan(file), file);
}

std::optional<Obstacle> obstacle(const fs::path &path)
{
    const fs::path file = resolved(path);
    if (const auto found = obstacleInPlace(file))
        return found;
    const fs::path can = (isForHome(file) ? homeCan() : volumeCan(file)).folder;
    for (const fs::path &folder : {can, can / "files", can / "info"})
        if (const auto error = whyNotUsable(folder))
            return Obstacle{Obstacle::Kind::trash, error};
    return std::nullopt;
}

} // namespace kestrel::Trash
