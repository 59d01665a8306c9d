#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/FileDescriptor.h"

#include <sys/types.h>

namespace kestrel {

// Runs one program: byte-exact arguments, no shell, null standard input, its two outputs in pipes.
//
// The child leads a process group of its own, so that a terminal's Ctrl-C reaches only the application, and
// so that a signal reaches helpers that the program started as well. Signals are sent only while the child
// has not been reaped; until then the system cannot give its number to another process. The child is killed
// when the thread that started it ends (PR_SET_PDEATHSIG follows the thread). REQUIRES: the same thread
// starts it and calls communicate().
class ChildProcess {
public:
    using OnBytes = std::function<void(std::string_view)>;

    // Starts the program; throws std::system_error when that fails.
    ChildProcess(const std::filesystem::path &executable, const std::vector<std::string> &arguments);
    // Kills a child that still runs.
    ~ChildProcess();
    ChildProcess(const ChildProcess &) = delete;
    ChildProcess &operator=(const ChildProcess &) = delete;

    // Blocks until the child has exited, passing on what it writes; both callbacks run on the calling thread.
    // All that the child itself wrote is passed on; what a process that it left behind may write later is not
    // waited for. Returns the exit status, or 128 + the number of the signal that ended it.
    int communicate(const OnBytes &onOutput, const OnBytes &onError);

    // The following may be called from any thread, at any time.

    // Sends a signal to the child's group; returns false when it has exited or cannot be signalled.
    bool signal(int number);
    // Stop the group where it is, and continue it (SIGSTOP, SIGCONT); return false likewise.
    bool freeze();
    bool thaw();
    // Asks the child to end (SIGTERM). With a grace period, a child that still runs afterwards is killed;
    // without one it may take as long as it needs.
    void terminate(std::optional<std::chrono::milliseconds> grace);

private:
    int reap();
    void killIfOverdue();
    int pollTimeout();

    // Set once.
    FileDescriptor m_output, m_error;
    FileDescriptor m_exit; // process descriptor, readable once the child has exited
    FileDescriptor m_wake; // event, readable when the deadline changed

    // Guarded by m_lock.
    std::mutex m_lock;
    pid_t m_pid = -1; // -1 once reaped
    std::optional<std::chrono::steady_clock::time_point> m_deadline;
};

} // namespace kestrel
