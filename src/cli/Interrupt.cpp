#include "cli/Interrupt.h"

#include <array>
#include <csignal>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>

namespace kestrel {

Interrupt::Interrupt()
{
    sigset_t signals;
    ::sigemptyset(&signals);
    for (const int number : {SIGINT, SIGTERM, SIGHUP})
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
            if (::read(m_signals.get(), &info, sizeof info) == sizeof info)
                m_stop.request_stop();
        }
    });
}

Interrupt::~Interrupt()
{
    ::eventfd_write(m_end.get(), 1);
    m_thread.join();
    ::pthread_sigmask(SIG_SETMASK, &m_previous, nullptr);
}

} // namespace kestrel
