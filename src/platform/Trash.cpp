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
#include <unistd.h>

namespace kestrel::Trash {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view infoExtension = ".trashinfo";

// One trash folder and how the paths in its notes are written.
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

// The topmost folder above the file that is on the file's device.
fs::path volumeRoot(const fs::path &file)
{
    const auto deviceOf = [](const fs::path &path) {
        const auto attributes = Files::tryAttributes(path);
        return attributes ? attributes->device : 0;
    };
    fs::path root = file.parent_path();
    const auto device = deviceOf(root);
    while (root.has_relative_path() && deviceOf(root.parent_path()) == device)
        root = root.parent_path();
    return root;
}

Can homeCan()
{
    return {Paths::applicationSupport() / "Trash", {}};
}

Can volumeCan(const fs::path &file)
{
    const fs::path root = volumeRoot(file);
    const std::string user = std::to_string(::getuid());
    if (isSharedTrash(root / ".Trash"))
        return {root / ".Trash" / user, root};
    return {root / (".Trash-" + user), root};
}

void makeFolder(const fs::path &folder)
{
    std::error_code error;
    fs::create_directories(folder.parent_path(), error);
    if (!error && ::mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST)
        error = std::error_code(errno, std::generic_category());
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

// Why the file itself cannot be moved, whatever the trash: asked first, so that the person reads the
// reason that matters.
void requireMovable(const fs::path &file)
{
    struct stat status {};
    if (::lstat(file.c_str(), &status) != 0)
        throw fs::filesystem_error("trash", file, std::error_code(errno, std::generic_category()));
    if (::faccessat(AT_FDCWD, file.parent_path().c_str(), W_OK | X_OK, AT_EACCESS) != 0)
        throw fs::filesystem_error("trash", file, std::error_code(errno, std::generic_category()));
}

} // namespace

fs::path put(const fs::path &path)
{
    // Resolve the folders above, but never the file itself.
    const fs::path absolute = fs::absolute(path);
    const fs::path file = fs::canonical(absolute.parent_path()) / absolute.filename();
    requireMovable(file);

    const Can home = homeCan();
    const auto homeDevice = Files::tryAttributes(Paths::home());
    const auto fileDevice = Files::tryAttributes(file.parent_path());
    if (homeDevice && fileDevice && homeDevice->device == fileDevice->device) {
        try {
            return putInto(home, file);
        } catch (const fs::filesystem_error &error) {
            // Two mounts of one device still do not rename into each other.
            if (error.code() != std::errc::cross_device_link)
                throw;
        }
    }
    return putInto(volumeCan(file), file);
}

} // namespace kestrel::Trash
