#include "support/OrdinaryUser.h"

#include <array>
#include <cstring>
#include <exception>
#include <stdexcept>

#include <grp.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kestrel::test {

std::string asOrdinaryUser(const std::function<std::string()> &action)
{
    using Text = std::array<char, 4096>; // zeros at first
    void *shared = ::mmap(nullptr, sizeof(Text), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    const pid_t child = shared != MAP_FAILED ? ::fork() : -1;
    if (child < 0)
        throw std::runtime_error("fork");
    auto *text = static_cast<Text *>(shared);
    if (child == 0) {
        std::string said = "cannot become another user";
        if (::setgroups(0, nullptr) == 0 && ::setgid(ordinaryUser) == 0 && ::setuid(ordinaryUser) == 0) {
            try {
                said = action();
            } catch (const std::exception &error) {
                said = error.what();
            }
        }
        std::memcpy(text->data(), said.c_str(), std::min(said.size(), text->size() - 1));
        ::_exit(0);
    }
    ::waitpid(child, nullptr, 0);
    const std::string said(text->data());
    ::munmap(shared, sizeof(Text));
    return said;
}

void openWayTo(const fs::path &folder)
{
    constexpr auto pass = fs::perms::group_exec | fs::perms::others_exec;
    for (fs::path way = folder; way.has_relative_path(); way = way.parent_path())
        fs::permissions(way, pass, fs::perm_options::add);
}

} // namespace kestrel::test
