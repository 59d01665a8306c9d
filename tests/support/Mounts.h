#pragma once

#include <optional>
#include <string>

#include "support/Sandbox.h"

namespace kestrel::test {

// A real mount for one test, unmounted when the object goes. Where the machine allows none, `problem`
// says why, and the test is to skip itself with it.
class Mount {
public:
    // A file system in memory of so many bytes.
    static Mount tmpfs(const fs::path &point, long bytes);
    // A FUSE pass-through to a folder, with options of bindfs.
    static Mount passThrough(const fs::path &source, const fs::path &point, const std::string &options);
    // The same, listed by the kernel as an SMB share.
    static Mount share(const fs::path &source, const fs::path &point, const std::string &options = "");
    // The folder once more, as a mount of its own.
    static Mount bind(const fs::path &source, const fs::path &point);
    // A real sshfs, with the SFTP server at the other end of a pipe: no network.
    static Mount sshfs(const fs::path &source, const fs::path &point, const std::string &options = "");
    ~Mount();
    Mount(const Mount &) = delete;
    Mount &operator=(const Mount &) = delete;

    const std::optional<std::string> &problem() const { return m_problem; }
    bool makeReadOnly() const;

private:
    Mount(fs::path point, const std::string &command);

    fs::path m_point;
    std::optional<std::string> m_problem;
};

} // namespace kestrel::test

#define SKIP_WITHOUT(mount)                                                                                  \
    if ((mount).problem())                                                                                   \
    GTEST_SKIP() << *(mount).problem()
