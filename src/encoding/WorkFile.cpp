#include "encoding/WorkFile.h"

#include <functional>
#include <mutex>
#include <set>
#include <string>

#include <fmt/format.h>

#include "platform/Files.h"
#include "platform/Text.h"

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
    // A checksum distinguishes two long names that begin alike.
    const std::string sum = fmt::format("~{:08x}", std::hash<std::string_view>{}(base)&0xFFFFFFFFU);
    const std::string_view shortened = Text::prefix(base, room > sum.size() ? room - sum.size() : 0);
    return folder / fmt::format(".{}{}{}{}", shortened, sum, mark, suffix);
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
            m_lock = FileLock::tryCreate(m_path);
        } catch (...) {
            release(m_path);
            throw;
        }
        if (!m_lock.isTaken())
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
