#include "platform/TemporaryFolder.h"

#include <cerrno>
#include <string_view>
#include <system_error>

#include "platform/Files.h"
#include "platform/Paths.h"
#include "platform/Uuid.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kestrel {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view prefix = "Kestrel-";

// Locks the folder itself, not the target of a link.
FileLock locked(const fs::path &folder)
{
    return FileLock(FileDescriptor(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)));
}

bool hasOurName(const fs::path &folder)
{
    const std::string name = folder.filename().native();
    return name.starts_with(prefix) && isUuid(std::string_view(name).substr(prefix.size()));
}

// Every user may create anything in the system's temporary folder, under any name.
bool isOurs(const FileDescriptor &folder)
{
    struct stat status {};
    constexpr mode_t rights = 0777;
    return ::fstat(folder.get(), &status) == 0 && status.st_uid == ::geteuid() &&
           (status.st_mode & rights) == S_IRWXU;
}

} // namespace

TemporaryFolder::TemporaryFolder()
{
    for (int attempt = 0; attempt < 3; ++attempt) {
        m_path = Paths::temporary() / (std::string(prefix) + freshUuid());
        fs::create_directories(m_path.parent_path());
        if (::mkdir(m_path.c_str(), S_IRWXU) != 0)
            throw fs::filesystem_error("mkdir", m_path, std::error_code(errno, std::generic_category()));
        m_lock = locked(m_path);
        // Before it was locked, another process may have removed it as abandoned.
        if (Files::exists(m_path))
            return;
    }
    throw fs::filesystem_error("create", m_path, std::make_error_code(std::errc::no_such_file_or_directory));
}

TemporaryFolder::~TemporaryFolder()
{
    std::error_code ignored;
    fs::remove_all(m_path, ignored);
}

void TemporaryFolder::removeAbandoned()
{
    std::error_code ignored;
    for (const auto &folder : Files::list(Paths::temporary(), ignored))
        if (hasOurName(folder))
            if (const FileLock lock = locked(folder); lock.isHeld() && isOurs(lock.file()))
                fs::remove_all(folder, ignored);
}

} // namespace kestrel
