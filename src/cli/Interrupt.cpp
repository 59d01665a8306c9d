#include "cli/Interrupt.h"

#include <array>
#include <chrono>
#include <csignal>
#include <utility>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace kestrel {

namespace {

constexpr std::chrono::milliseconds patience{500}; // with an event loop that is busy with something else

// What Ctrl-Z does to other programs; the shell's SIGCONT brings us back. Where no shell could do so
// (an orphaned process group), the system lets the program go on.
void stopAsUsual()
{
    sigset_t terminalStop, before;
    ::sigemptyset(&terminalStop);
    ::sigaddset(&terminalStop, SIGTSTP);
    ::raise(SIGTSTP); // waits for this thread
    ::pthread_sigmask(SIG_UNBLOCK, &terminalStop, &before);
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

} // namespace

Interrupt::Interrupt()
{
    sigset_t signals;
    ::sigemptyset(&signals);
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGTSTP})
        ::sigaddset(&signals, number);
    ::pthread_sigmask(SIG_BLOCK, &signals, &m_previous);
    std::signal(SIGPIPE, SIG_IGN);

    m_signals = FileDescriptor(::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
    m_end = FileDescriptor(::eventfd(0, EFD_CLOEXEC));
    m_thread = std::thread([this] {
        for (;;) {
            std::array<pollfd, 2> watched{{{m_signals.get(), POLLIN, 0}, {m_end.get(), POLLIN, 0}}};
            if (::poll(watched.data(), watched.size(), -1) < 0)
                continue;
            if (watched[1].revents != 0)
                return;
            signalfd_siginfo info{};
            if (::read(m_signals.get(), &info, sizeof info) != sizeof info)
                continue;
            if (info.ssi_signo != SIGTSTP) {
                m_stop.request_stop();
                continue;
            }
            askToSuspend();
        }
    });
}

Interrupt::~Interrupt()
{
    ::eventfd_write(m_end.get(), 1);
    m_thread.join();
    ::pthread_sigmask(SIG_SETMASK, &m_previous, nullptr);
}

void Interrupt::askToSuspend()
{
    std::unique_lock guard(m_lock);
    if (m_onSuspend) {
        m_isAsked = true;
        m_onSuspend();
        m_answered.wait_for(guard, patience, [this] { return !m_isAsked; });
        if (!std::exchange(m_isAsked, false))
            return;
    }
    // Everything, and at once: the shell waits for it. An ffmpeg runs on, and waits when its pipe is full.
    ::kill(::getpid(), SIGSTOP);
}

void Interrupt::suspend(const std::function<void()> &before, const std::function<void()> &after)
{
    {
        const std::scoped_lock guard(m_lock);
        if (!std::exchange(m_isAsked, false))
            return;
        m_answered.notify_all();
    }
    before();
    stopAsUsual();
    after();
}

void Interrupt::setOnSuspend(std::function<void()> action)
{
    const std::scoped_lock guard(m_lock);
    m_onSuspend = std::move(action);
}

} // namespace kestrel
