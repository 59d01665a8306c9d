#include "platform/ChildProcess.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kestrel {

namespace {

[[noreturn]] void throwErrno(const char *what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

struct Pipe {
    FileDescriptor reading, writing;
};

Pipe makePipe()
{
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0)
        throwErrno("pipe2");
    return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

// Runs in the new process before it becomes the program. It still shares the parent's memory, whose calling
// thread waits meanwhile: it calls only async-signal-safe functions, and changes nothing that other threads
// see. Never returns.
[[noreturn]] void becomeProgram(const char *executable, char *const *arguments, pid_t parent, int output,
                                int error, int report)
{
    ::setpgid(0, 0);
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent)
        ::_exit(127); // the parent ended before the request to die with it took effect

    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE, SIGTSTP, SIGCONT, SIGCHLD})
        std::signal(number, SIG_DFL);
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);

    const int null = ::open("/dev/null", O_RDONLY);
    if (null >= 0 && ::dup2(null, STDIN_FILENO) >= 0 && ::dup2(output, STDOUT_FILENO) >= 0 &&
        ::dup2(error, STDERR_FILENO) >= 0)
        ::execv(executable, arguments);

    const int code = errno;
    [[maybe_unused]] const auto written = ::write(report, &code, sizeof code);
    ::_exit(127);
}

// Passes on one portion and returns its size: 0 at the end of the stream, -1 when there is nothing yet. It
// reads only one, because a child that writes faster than it is read must not delay the check of its
// deadline.
ssize_t readPortion(const FileDescriptor &stream, const ChildProcess::OnBytes &onBytes)
{
    std::array<char, 65536> buffer; // NOLINT(cppcoreguidelines-pro-type-member-init): filled by read
    ssize_t count = 0;
    while ((count = ::read(stream.get(), buffer.data(), buffer.size())) < 0 && errno == EINTR) {
    }
    if (count > 0)
        onBytes({buffer.data(), static_cast<std::size_t>(count)});
    return count < 0 && errno != EAGAIN ? 0 : count;
}

// Passes on what the pipe holds by now, and nothing that is written meanwhile.
void readRest(const FileDescriptor &stream, const ChildProcess::OnBytes &onBytes)
{
    int left = 0;
    if (!stream || ::ioctl(stream.get(), FIONREAD, &left) != 0)
        return;
    while (left > 0) {
        const ssize_t count = readPortion(stream, onBytes);
        if (count <= 0)
            return;
        left -= static_cast<int>(count);
    }
}

} // namespace

ChildProcess::ChildProcess(const std::filesystem::path &executable, const std::vector<std::string> &arguments)
{
    std::vector<std::string> words{executable.native()};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char *> pointers;
    pointers.reserve(words.size() + 1);
    for (auto &word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);

    Pipe output = makePipe();
    Pipe error = makePipe();
    Pipe report = makePipe(); // closed by a successful exec; carries errno otherwise
    m_wake = FileDescriptor(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!m_wake)
        throwErrno("eventfd");

    const pid_t parent = ::getpid();
    // This avoids fork(), which would make every page of this process copy itself at its next change and
    // block a main thread with a large library for long. No signal may run a handler in the shared memory.
    sigset_t all, before;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &before);
    m_pid = ::vfork(); // NOLINT(clang-analyzer-security.insecureAPI.vfork): see above
    const int failure = errno;
    if (m_pid != 0)
        ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    if (m_pid < 0)
        throw std::system_error(failure, std::generic_category(), "vfork");
    if (m_pid == 0)
        becomeProgram(executable.c_str(), pointers.data(), parent, output.writing.get(), error.writing.get(),
                      report.writing.get());

    ::setpgid(m_pid, m_pid); // the child does so too: the group exists whichever runs first
    report.writing.reset();
    int code = 0;
    ssize_t count = 0;
    while ((count = ::read(report.reading.get(), &code, sizeof code)) < 0 && errno == EINTR) {
    }
    if (count == sizeof code) {
        reap();
        throw std::system_error(code, std::generic_category(), executable.native());
    }

    // glibc 2.36 declares pidfd_open() without C linkage.
    m_exit = FileDescriptor(static_cast<int>(::syscall(SYS_pidfd_open, m_pid, 0)));
    if (!m_exit) {
        const int reason = errno;
        ::kill(-m_pid, SIGKILL);
        reap();
        throw std::system_error(reason, std::generic_category(), "pidfd_open");
    }
    m_output = std::move(output.reading);
    m_error = std::move(error.reading);
    for (const auto *descriptor : {&m_output, &m_error})
        ::fcntl(descriptor->get(), F_SETFL, O_NONBLOCK);
}

ChildProcess::~ChildProcess()
{
    if (signal(SIGKILL))
        reap();
}

int ChildProcess::communicate(const OnBytes &onOutput, const OnBytes &onError)
{
    for (;;) {
        std::array<pollfd, 4> watched{{{m_exit.get(), POLLIN, 0},
                                       {m_output.get(), POLLIN, 0},
                                       {m_error.get(), POLLIN, 0},
                                       {m_wake.get(), POLLIN, 0}}};
        const int ready = ::poll(watched.data(), watched.size(), pollTimeout());
        if (ready < 0 && errno != EINTR)
            throwErrno("poll");
        killIfOverdue();
        if (ready <= 0)
            continue;

        if (watched[1].revents != 0 && readPortion(m_output, onOutput) == 0)
            m_output.reset();
        if (watched[2].revents != 0 && readPortion(m_error, onError) == 0)
            m_error.reset();
        if (watched[3].revents != 0)
            readPortion(m_wake, [](std::string_view) {});
        if (watched[0].revents != 0) {
            readRest(m_output, onOutput);
            readRest(m_error, onError);
            return reap();
        }
    }
}

bool ChildProcess::signal(int number)
{
    const std::scoped_lock guard(m_lock);
    return m_pid > 0 && ::kill(-m_pid, number) == 0;
}

bool ChildProcess::freeze()
{
    return signal(SIGSTOP);
}

bool ChildProcess::thaw()
{
    return signal(SIGCONT);
}

void ChildProcess::terminate(std::optional<std::chrono::milliseconds> grace)
{
    signal(SIGTERM);
    if (!grace)
        return;
    {
        const std::scoped_lock guard(m_lock);
        if (!m_deadline)
            m_deadline = std::chrono::steady_clock::now() + *grace;
    }
    [[maybe_unused]] const int woken = ::eventfd_write(m_wake.get(), 1);
}

int ChildProcess::reap()
{
    pid_t pid = -1;
    {
        const std::scoped_lock guard(m_lock);
        pid = m_pid;
    }
    siginfo_t info{};
    while (::waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOWAIT) != 0 && errno == EINTR) {
    }
    const std::scoped_lock guard(m_lock);
    m_pid = -1;
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

void ChildProcess::killIfOverdue()
{
    {
        const std::scoped_lock guard(m_lock);
        if (!m_deadline || std::chrono::steady_clock::now() < *m_deadline)
            return;
        m_deadline.reset();
    }
    signal(SIGKILL);
}

// Returns milliseconds, -1 for no limit.
int ChildProcess::pollTimeout()
{
    const std::scoped_lock guard(m_lock);
    if (!m_deadline)
        return -1;
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(*m_deadline - std::chrono::steady_clock::now()).count();
    return static_cast<int>(std::max<decltype(left)>(left, 0));
}

} // namespace kestrel
