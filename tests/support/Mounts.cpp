#include "support/Mounts.h"

#include <fmt/format.h>

namespace kestrel::test {

Mount::Mount(fs::path point, const std::string &command) : m_point(std::move(point))
{
    fs::create_directories(m_point);
    if (!shell(command + " >/dev/null 2>&1"))
        m_problem = "this machine allows no such mount: " + command.substr(0, command.find(' '));
}

Mount Mount::tmpfs(const fs::path &point, long bytes)
{
    return {point, fmt::format("mount -t tmpfs -o size={} kestrel-test {}", bytes, quoted(point))};
}

Mount Mount::passThrough(const fs::path &source, const fs::path &point, const std::string &options)
{
    return {point, fmt::format("bindfs {} {} {}", options, quoted(source), quoted(point))};
}

Mount Mount::share(const fs::path &source, const fs::path &point, const std::string &options)
{
    return passThrough(source, point, "-o subtype=smbnetfs " + options);
}

Mount Mount::bind(const fs::path &source, const fs::path &point)
{
    return {point, fmt::format("mount --bind {} {}", quoted(source), quoted(point))};
}

Mount Mount::sshfs(const fs::path &source, const fs::path &point, const std::string &options)
{
    return {point, fmt::format("sshfs -o 'ssh_command=sh -c /usr/lib/openssh/sftp-server'{} server:{} {}",
                               options.empty() ? "" : "," + options, quoted(source), quoted(point))};
}

Mount::~Mount()
{
    if (!m_problem)
        shell(fmt::format("umount {0} 2>/dev/null || fusermount -u {0} || umount -l {0}", quoted(m_point)));
}

bool Mount::makeReadOnly() const
{
    return shell("mount -o remount,ro " + quoted(m_point));
}

} // namespace kestrel::test
