#include "encoding/WorkFile.h"

#include <cerrno>
#include <functional>
#include <mutex>
#include <set>
#include <string>
#include <system_error>

#include <fmt/format.h>

#include "platform/Files.h"
#include "platform/Text.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

namespace kestrel {

namespace fs = std::filesystem;

namespace {

struct Claims {
    std::mutex lock;
    std::set<fs::path> paths; // guarded by lock
};

Claims &claims()
{
    static Claims instance;
    return instance;
}

bool claim(const fs::path &path)
{
    const std::scoped_lock guard(claims().lock);
    return claims().paths.insert(path).second;
}

void release(const fs::path &path)
{
    const std::scoped_lock guard(claims().lock);
    claims().paths.erase(path);
}

fs::path numberedName(const fs::path &folder, std::string_view base, std::string_view suffix, int number)
{
    const std::string mark = number == 1 ? "" : fmt::format("~{}", number);
    const std::size_t limit = Files::longestName(folder);
    const std::size_t taken = 1 + mark.size() + suffix.size();
    const std::size_t room = limit > taken ? limit - taken : 0;
    if (base.size() <= room)
        return folder / fmt::format(".{}{}{}", base, mark, suffix);
    // A check sum keeps two long names apart that begin alike.
    const std::string sum = fmt::format("~{:08x}", std::hash<std::string_view>{}(base)&0xFFFFFFFFU);
    const std::string_view shortened = Text::prefix(base, room > sum.size() ? room - sum.size() : 0);
    return folder / fmt::format(".{}{}{}{}", shortened, sum, mark, suffix);
}

// Absent when another process holds the lock.
FileDescriptor createLocked(const fs::path &path)
{
    constexpr int most = 20;
    for (int attempt = 1;; ++attempt) {
        FileDescriptor file(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666));
        if (!file)
            throw fs::filesystem_error("open", path, std::error_code(errno, std::generic_category()));
        if (::flock(file.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK)
            return {};
        // Another process may have moved its finished file away from here in between.
        struct stat opened {
        }, named{};
        if (::fstat(file.get(), &opened) == 0 && ::stat(path.c_str(), &named) == 0 &&
            opened.st_dev == named.st_dev && opened.st_ino == named.st_ino)
            return file;
        if (attempt == most) // a file system whose numbers do not hold
            return file;
    }
}

} // namespace

WorkFile::WorkFile(const fs::path &folder, std::string_view base, std::string_view suffix, Sharing sharing)
{
    for (int number = 1;; ++number) {
        m_path = numberedName(folder, base, suffix, number);
        if (!claim(m_path))
            continue;
        try {
            if (sharing == Sharing::withinProcess)
                return;
            m_lock = createLocked(m_path);
        } catch (...) {
            release(m_path);
            throw;
        }
        if (m_lock)
            return;
        release(m_path);
    }
}

WorkFile::~WorkFile()
{
    release(m_path);
}

fs::path WorkFile::firstName(const fs::path &folder, std::string_view base, std::string_view suffix)
{
    return numberedName(folder, base, suffix, 1);
}

} // namespace kestrel
