#include "platform/Signals.h"

#include <array>
#include <csignal>
#include <utility>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace kestrel {

namespace {

sigset_t setOf(int number)
{
    sigset_t set;
    ::sigemptyset(&set);
    ::sigaddset(&set, number);
    return set;
}

// Applies the default action of a blocked signal.
void actAsUsual(int number)
{
    const sigset_t signal = setOf(number);
    sigset_t before;
    ::raise(number); // stays pending for this thread
    ::pthread_sigmask(SIG_UNBLOCK, &signal, &before);
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

} // namespace

Signals::Signals(Handler onSuspend) : m_onSuspend(std::move(onSuspend))
{
    sigset_t watched;
    ::sigemptyset(&watched);
    for (const int number : {SIGINT, SIGTERM, SIGHUP})
        ::sigaddset(&watched, number);
    if (m_onSuspend)
        ::sigaddset(&watched, SIGTSTP);
    ::pthread_sigmask(SIG_BLOCK, &watched, &m_previous);
    m_signals = FileDescriptor(::signalfd(-1, &watched, SFD_CLOEXEC | SFD_NONBLOCK));
    m_end = FileDescriptor(::eventfd(0, EFD_CLOEXEC));
    m_thread = std::thread([this] { listen(); });
}

Signals::~Signals()
{
    ::eventfd_write(m_end.get(), 1);
    m_thread.join();
    ::pthread_sigmask(SIG_SETMASK, &m_previous, nullptr);
}

void Signals::listen()
{
    for (;;) {
        std::array<pollfd, 2> watched{{{m_signals.get(), POLLIN, 0}, {m_end.get(), POLLIN, 0}}};
        if (::poll(watched.data(), watched.size(), -1) < 0)
            continue;
        if (watched[1].revents != 0)
            return;
        signalfd_siginfo info{};
        if (::read(m_signals.get(), &info, sizeof info) != sizeof info)
            continue;
        if (info.ssi_signo == SIGTSTP)
            m_onSuspend();
        else
            handleEnd(static_cast<int>(info.ssi_signo));
    }
}

void Signals::handleEnd(int number)
{
    const std::scoped_lock guard(m_lock);
    if (m_onEnd)
        m_onEnd();
    else
        actAsUsual(number);
}

void Signals::setOnEnd(Handler handler)
{
    const std::scoped_lock guard(m_lock);
    m_onEnd = std::move(handler);
}

void Signals::ignoreBrokenPipes()
{
    std::signal(SIGPIPE, SIG_IGN);
}

void Signals::freeze()
{
    ::kill(::getpid(), SIGSTOP);
}

void Signals::suspend()
{
    actAsUsual(SIGTSTP);
}

void Signals::unblockInChild()
{
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

} // namespace kestrel
