#include "platform/InstanceLock.h"

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <system_error>

#include "platform/Cancelled.h"
#include "platform/Paths.h"

#include <fcntl.h>

namespace kestrel {

std::filesystem::path InstanceLock::file()
{
    return Paths::applicationSupport() / "Kestrel/instanz.lock";
}

InstanceLock::InstanceLock(const std::stop_token &stop)
{
    std::error_code ignored;
    std::filesystem::create_directories(file().parent_path(), ignored);
    m_file = FileDescriptor(::open(file().c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    if (becomeAlone())
        return;
    // The system's own wait for a lock cannot be interrupted.
    std::mutex unused;
    std::condition_variable_any stopped;
    std::unique_lock guard(unused);
    while (!take(F_RDLCK)) {
        stopped.wait_for(guard, stop, std::chrono::milliseconds(50), [] { return false; });
        throwIfStopped(stop);
    }
}

bool InstanceLock::becomeAlone()
{
    return m_isAlone = take(F_WRLCK);
}

void InstanceLock::share()
{
    take(F_RDLCK);
}

// Returns false when another process holds a conflicting lock; what was held before is then still held. It
// uses an open file's lock, not flock(): a change from one kind to the other leaves no gap for others.
bool InstanceLock::take(short kind)
{
    struct flock lock {};
    lock.l_type = kind;
    lock.l_whence = SEEK_SET;
    const bool isInTheWay =
        m_file && ::fcntl(m_file.get(), F_OFD_SETLK, &lock) != 0 && (errno == EAGAIN || errno == EACCES);
    return !isInTheWay;
}

} // namespace kestrel
