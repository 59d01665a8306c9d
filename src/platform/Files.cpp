#include "platform/Files.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <system_error>

#include "platform/Cancelled.h"
#include "platform/FileDescriptor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kestrel::Files {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t copyChunk = 4 << 20;

[[noreturn]] void fail(const char *what, const fs::path &path, int code = errno)
{
    throw fs::filesystem_error(what, path, std::error_code(code, std::generic_category()));
}

FileDescriptor openFor(const fs::path &path, int flags)
{
    FileDescriptor descriptor(::open(path.c_str(), flags | O_CLOEXEC, 0666));
    if (!descriptor)
        fail("open", path);
    return descriptor;
}

// Some file systems, and most network ones for folders, do not support the request.
bool meansUnsupported(int code)
{
    return code == EINVAL || code == ENOSYS || code == EOPNOTSUPP;
}

void syncDescriptor(const FileDescriptor &descriptor, const fs::path &path)
{
    while (::fsync(descriptor.get()) != 0) {
        if (errno == EINTR)
            continue;
        if (meansUnsupported(errno))
            return;
        fail("fsync", path);
    }
}

void closeChecked(FileDescriptor &descriptor, const fs::path &path)
{
    if (::close(descriptor.release()) != 0 && errno != EINTR)
        fail("close", path);
}

void writeAll(const FileDescriptor &descriptor, std::string_view bytes, const fs::path &path)
{
    while (!bytes.empty()) {
        const ssize_t count = ::write(descriptor.get(), bytes.data(), bytes.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            fail("write", path);
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
}

std::size_t readSome(const FileDescriptor &descriptor, std::string &buffer, const fs::path &path)
{
    for (;;) {
        const ssize_t count = ::read(descriptor.get(), buffer.data(), buffer.size());
        if (count >= 0)
            return static_cast<std::size_t>(count);
        if (errno != EINTR)
            fail("read", path);
    }
}

// Returns less than the buffer holds only at the end of the file.
std::size_t readFully(const FileDescriptor &descriptor, std::string &buffer, const fs::path &path)
{
    std::size_t filled = 0;
    while (filled < buffer.size()) {
        const ssize_t count = ::read(descriptor.get(), buffer.data() + filled, buffer.size() - filled);
        if (count == 0)
            break;
        if (count < 0 && errno != EINTR)
            fail("read", path);
        filled += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    return filled;
}

// Does the second half of a move by link: removes the old name. Where that is refused, it removes the new
// one. Any other error may come from a lost reply, after the server had removed the old name: then nothing
// more is removed, and the caller finds one film under one name or two.
void giveUpName(const fs::path &from, const fs::path &to)
{
    if (::unlink(from.c_str()) == 0 || errno == ENOENT)
        return;
    const int reason = errno;
    constexpr std::array refusals{EACCES, EPERM, EBUSY, EROFS};
    if (std::find(refusals.begin(), refusals.end(), reason) != refusals.end())
        ::unlink(to.c_str());
    fail("unlink", from, reason);
}

} // namespace

bool Attributes::sameVersion(const Attributes &other) const
{
    return device == other.device && inode == other.inode && sameContent(other);
}

bool Attributes::sameContent(const Attributes &other) const
{
    return size == other.size && modified.tv_sec == other.modified.tv_sec &&
           modified.tv_nsec == other.modified.tv_nsec;
}

bool Attributes::isSettled() const
{
    constexpr std::int64_t age = 3'000'000'000; // FAT counts in steps of two seconds
    const std::int64_t now = std::chrono::duration_cast<std::chrono::nanoseconds>(
                                 std::chrono::system_clock::now().time_since_epoch())
                                 .count();
    return now - nanoseconds(changed) > age && now - nanoseconds(modified) > age;
}

std::int64_t nanoseconds(const timespec &time)
{
    return static_cast<std::int64_t>(time.tv_sec) * 1'000'000'000 + time.tv_nsec;
}

Attributes attributes(const fs::path &file)
{
    struct stat status {};
    if (::stat(file.c_str(), &status) != 0)
        fail("stat", file);
    return {status.st_size, status.st_mtim, status.st_ctim,
            status.st_dev,  status.st_ino,  S_ISREG(status.st_mode)};
}

std::optional<Attributes> tryAttributes(const fs::path &file)
{
    try {
        return attributes(file);
    } catch (const fs::filesystem_error &) {
        return std::nullopt;
    }
}

Presence presence(const fs::path &path)
{
    struct stat status {};
    if (::lstat(path.c_str(), &status) == 0)
        return Presence::there;
    return errno == ENOENT || errno == ENOTDIR ? Presence::absent : Presence::unknown;
}

bool exists(const fs::path &path)
{
    return presence(path) == Presence::there;
}

bool isWritable(const fs::path &path)
{
    return ::access(path.c_str(), W_OK) == 0;
}

void requireWritable(const fs::path &path)
{
    if (!isWritable(path))
        fail("access", path);
}

bool isProgram(const fs::path &file)
{
    std::error_code error;
    return fs::is_regular_file(file, error) && ::access(file.c_str(), X_OK) == 0;
}

std::vector<fs::path> list(const fs::path &folder, std::error_code &error)
{
    std::vector<fs::path> paths;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error))
        paths.push_back(entry->path());
    return paths;
}

void sync(const fs::path &fileOrFolder)
{
    FileDescriptor descriptor = openFor(fileOrFolder, O_RDONLY);
    syncDescriptor(descriptor, fileOrFolder);
    closeChecked(descriptor, fileOrFolder);
}

bool trySync(const fs::path &fileOrFolder)
{
    try {
        sync(fileOrFolder);
        return true;
    } catch (const fs::filesystem_error &) {
        return false;
    }
}

void copy(const fs::path &from, const fs::path &to, std::stop_token stop)
{
    const FileDescriptor source = openFor(from, O_RDONLY);
    FileDescriptor target = openFor(to, O_WRONLY | O_CREAT | O_TRUNC);
    ::posix_fadvise(source.get(), 0, 0, POSIX_FADV_SEQUENTIAL);

    std::string buffer(copyChunk, '\0');
    while (const std::size_t count = readSome(source, buffer, from)) {
        throwIfStopped(stop);
        writeAll(target, std::string_view(buffer).substr(0, count), to);
    }
    syncDescriptor(target, to);
    closeChecked(target, to);
    sync(to.parent_path());
}

bool areNamesOfOneFile(const fs::path &a, const fs::path &b)
{
    struct stat first {
    }, second{};
    // The count of links distinguishes two names from one name in two spellings, and from made-up numbers.
    return ::lstat(a.c_str(), &first) == 0 && ::lstat(b.c_str(), &second) == 0 && S_ISREG(first.st_mode) &&
           S_ISREG(second.st_mode) && first.st_dev == second.st_dev && first.st_ino == second.st_ino &&
           first.st_nlink > 1 && second.st_nlink > 1;
}

bool haveSameBytes(const fs::path &a, const fs::path &b, std::stop_token stop)
{
    const FileDescriptor first = openFor(a, O_RDONLY), second = openFor(b, O_RDONLY);
    std::string one(copyChunk, '\0'), other(copyChunk, '\0');
    for (;;) {
        throwIfStopped(stop);
        const std::size_t count = readFully(first, one, a);
        if (count != readFully(second, other, b) || one.compare(0, count, other, 0, count) != 0)
            return false;
        if (count < copyChunk)
            return true;
    }
}

void moveToFreeName(const fs::path &from, const fs::path &to)
{
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0)
        return;
    if (meansUnsupported(errno)) {
        // Most network file systems cannot rename this way, but a link never replaces anything there either.
        if (::link(from.c_str(), to.c_str()) == 0)
            return giveUpName(from, to);
        if (meansUnsupported(errno) || errno == EPERM || errno == EMLINK) { // links are unsupported
            // A check beforehand is the best that is left.
            if (Files::exists(to))
                fail("rename", from, EEXIST);
            return moveOver(from, to);
        }
    }
    const int reason = errno;
    // Such a move was interrupted midway, or the server's reply was lost.
    if (reason == EEXIST && areNamesOfOneFile(from, to))
        return Files::remove(from);
    fail("rename", from, reason);
}

void moveOver(const fs::path &from, const fs::path &to)
{
    if (::rename(from.c_str(), to.c_str()) != 0)
        fail("rename", from);
}

void remove(const fs::path &file)
{
    if (::unlink(file.c_str()) != 0)
        fail("unlink", file);
}

void writeAtomically(const fs::path &file, std::string_view content)
{
    fs::path fresh = file;
    fresh += ".new";
    FileDescriptor descriptor = openFor(fresh, O_WRONLY | O_CREAT | O_TRUNC);
    writeAll(descriptor, content, fresh);
    syncDescriptor(descriptor, fresh);
    closeChecked(descriptor, fresh);
    moveOver(fresh, file);
    sync(file.parent_path());
}

std::string readAll(const fs::path &file)
{
    const FileDescriptor descriptor = openFor(file, O_RDONLY);
    std::string content;
    std::string buffer(65536, '\0');
    while (const std::size_t count = readSome(descriptor, buffer, file))
        content.append(buffer, 0, count);
    return content;
}

void setModified(const fs::path &file, const timespec &modified)
{
    // The access time is written back unchanged: some FUSE file systems ignore a request to leave it out, and
    // the rest of the request with it.
    struct stat status {};
    if (::stat(file.c_str(), &status) != 0)
        fail("stat", file);
    const timespec times[2] = {status.st_atim, modified};
    if (::utimensat(AT_FDCWD, file.c_str(), times, 0) != 0)
        fail("utimensat", file);
}

std::size_t longestName(const fs::path &folder)
{
    const long limit = ::pathconf(folder.c_str(), _PC_NAME_MAX);
    return limit > 0 ? static_cast<std::size_t>(limit) : 255;
}

fs::path standardized(const fs::path &path)
{
    std::error_code ignored;
    const fs::path absolute = path.is_absolute() ? path : fs::absolute(path, ignored);
    fs::path normal = absolute.lexically_normal();
    return normal.has_filename() || !normal.has_parent_path() || normal == normal.root_path()
               ? normal
               : normal.parent_path();
}

} // namespace kestrel::Files
