#include "platform/FileLock.h"

#include <cerrno>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

namespace kestrel {

namespace fs = std::filesystem;

namespace {

// Opening a pipe without a writer must not block, hence O_NONBLOCK.
FileDescriptor opened(const fs::path &path)
{
    return FileDescriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
}

bool hasName(const FileDescriptor &file, const fs::path &name)
{
    struct stat opened {
    }, named{};
    return ::fstat(file.get(), &opened) == 0 && ::stat(name.c_str(), &named) == 0 &&
           opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

} // namespace

FileLock::FileLock(FileDescriptor file) : m_file(std::move(file))
{
    if (!m_file)
        return;
    if (::flock(m_file.get(), LOCK_EX | LOCK_NB) == 0)
        m_state = State::held;
    else if (errno == EWOULDBLOCK)
        m_state = State::taken;
}

FileLock FileLock::tryTake(const fs::path &path)
{
    return FileLock(opened(path));
}

FileLock FileLock::take(const fs::path &path)
{
    FileLock lock;
    lock.m_file = opened(path);
    if (!lock.m_file)
        return lock;
    int result = 0;
    while ((result = ::flock(lock.m_file.get(), LOCK_EX)) != 0 && errno == EINTR) {
    }
    if (result == 0)
        lock.m_state = State::held;
    return lock;
}

FileLock FileLock::tryCreate(const fs::path &file)
{
    constexpr int most = 20; // limit for a file system whose file numbers change
    for (int attempt = 1;; ++attempt) {
        FileDescriptor descriptor(::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666));
        if (!descriptor)
            throw fs::filesystem_error("open", file, std::error_code(errno, std::generic_category()));
        FileLock lock(std::move(descriptor));
        // Another process may have moved its finished file away from here in between.
        if (lock.isTaken() || hasName(lock.file(), file) || attempt == most)
            return lock;
    }
}

} // namespace kestrel
