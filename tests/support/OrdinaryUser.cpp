#include "support/OrdinaryUser.h"

#include <exception>
#include <stdexcept>

#include <grp.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kestrel::test {

std::string asOrdinaryUser(const std::function<std::string()> &action)
{
    int ends[2];
    if (::pipe(ends) != 0)
        throw std::runtime_error("pipe");
    const pid_t child = ::fork();
    if (child < 0)
        throw std::runtime_error("fork");
    if (child == 0) {
        std::string said = "cannot become another user";
        if (::setgroups(0, nullptr) == 0 && ::setgid(ordinaryUser) == 0 && ::setuid(ordinaryUser) == 0) {
            try {
                said = action();
            } catch (const std::exception &error) {
                said = error.what();
            }
        }
        const bool isWritten = ::write(ends[1], said.data(), said.size()) >= 0;
        ::_exit(isWritten ? 0 : 1);
    }
    ::close(ends[1]);
    std::string said(4096, '\0');
    const ssize_t size = ::read(ends[0], said.data(), said.size());
    ::close(ends[0]);
    ::waitpid(child, nullptr, 0);
    said.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
    return said;
}

void openWayTo(const fs::path &folder)
{
    constexpr auto pass = fs::perms::group_exec | fs::perms::others_exec;
    for (fs::path way = folder; way.has_relative_path(); way = way.parent_path())
        fs::permissions(way, pass, fs::perm_options::add);
}

} // namespace kestrel::test
