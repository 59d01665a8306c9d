#include "platform/InstanceLock.h"

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "platform/Paths.h"

#include <fcntl.h>
#include <sys/file.h>

namespace kestrel {

InstanceLock::InstanceLock()
{
    const std::filesystem::path folder = Paths::applicationSupport() / "Kestrel";
    std::error_code ignored;
    std::filesystem::create_directories(folder, ignored);
    m_file = FileDescriptor(::open((folder / "instanz.lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    if (!m_file)
        return;
    m_isAlone = ::flock(m_file.get(), LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK;
    if (!m_isAlone)
        share();
}

void InstanceLock::share()
{
    while (m_file && ::flock(m_file.get(), LOCK_SH) != 0 && errno == EINTR) {
    }
}

} // namespace kestrel
