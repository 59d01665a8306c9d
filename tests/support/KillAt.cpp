#include "support/KillAt.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <stdexcept>

#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kestrel::test {

namespace {

#ifdef __x86_64__
constexpr std::array changes{SYS_rename,    SYS_renameat, SYS_renameat2, SYS_link,     SYS_linkat,
                             SYS_unlink,    SYS_unlinkat, SYS_rmdir,     SYS_mkdir,    SYS_mkdirat,
                             SYS_utimensat, SYS_fsync,    SYS_fdatasync, SYS_pwrite64, SYS_ftruncate,
                             SYS_chmod,     SYS_fchmodat};

bool isChange(pid_t child)
{
    user_regs_struct registers{};
    ::ptrace(PTRACE_GETREGS, child, nullptr, &registers);
    return std::find(changes.begin(), changes.end(), static_cast<long>(registers.orig_rax)) != changes.end();
}
#else
// Every system call is one place more to be killed at.
bool isChange(pid_t)
{
    return true;
}
#endif

// Returns false when the action ended before it got to its n-th change.
bool runUntilChange(int n, const std::function<void()> &action, const std::function<void(pid_t)> &reached)
{
    const pid_t child = ::fork();
    if (child < 0)
        throw std::runtime_error("fork");
    if (child == 0) {
        ::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        ::raise(SIGSTOP);
        try {
            action();
        } catch (...) {
            ::_exit(1);
        }
        ::_exit(0);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    ::ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
    bool entering = false;
    for (int seen = 0;;) {
        ::ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
        ::waitpid(child, &status, 0);
        if (WIFEXITED(status) || WIFSIGNALED(status))
            return false;
        if (!WIFSTOPPED(status) || WSTOPSIG(status) != (SIGTRAP | 0x80))
            continue;
        entering = !entering;
        if (entering && isChange(child) && seen++ == n) {
            reached(child);
            ::waitpid(child, &status, 0);
            return true;
        }
    }
}

} // namespace

bool killedBeforeChange(int n, const std::function<void()> &action)
{
    return runUntilChange(n, action, [](pid_t child) { ::kill(child, SIGKILL); });
}

bool interruptedBeforeChange(int n, const std::function<void()> &action,
                             const std::function<void()> &meanwhile)
{
    return runUntilChange(n, action, [&](pid_t child) {
        meanwhile();
        ::ptrace(PTRACE_DETACH, child, nullptr, nullptr);
    });
}

bool deniedAfterChange(int n, const std::function<void()> &action)
{
    return runUntilChange(n, action, [](pid_t child) {
#ifdef __x86_64__
        int status = 0;
        ::ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
        ::waitpid(child, &status, 0); // the call has been done
        user_regs_struct registers{};
        ::ptrace(PTRACE_GETREGS, child, nullptr, &registers);
        registers.rax = static_cast<unsigned long long>(-EIO);
        ::ptrace(PTRACE_SETREGS, child, nullptr, &registers);
#endif
        ::ptrace(PTRACE_DETACH, child, nullptr, nullptr);
    });
}

} // namespace kestrel::test
