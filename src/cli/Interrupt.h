#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <stop_token>
#include <thread>

#include "platform/FileDescriptor.h"

#include <signal.h>

namespace kestrel {

// Turns the signals that ask the program to end (Ctrl-C, a closed terminal, kill) into a stop request, and
// Ctrl-Z into a call.
// Make it before any thread is started, in the thread that starts them: they inherit that these signals
// are blocked. Ignores SIGPIPE: a reader that goes away must not end a conversion.
class Interrupt {
public:
    Interrupt();
    ~Interrupt();
    Interrupt(const Interrupt &) = delete;
    Interrupt &operator=(const Interrupt &) = delete;

    std::stop_token token() const { return m_stop.get_token(); }
    bool isRequested() const { return m_stop.stop_requested(); }

    // What Ctrl-Z asks for, on a thread of its own; the answer is suspend(). Where no action is set, or no
    // answer comes soon, the program is stopped as it is.
    void setOnSuspend(std::function<void()> action);
    // Stops the program until it is told to go on, with preparations before and after it; does nothing where
    // nobody asks for it any more.
    void suspend(const std::function<void()> &before, const std::function<void()> &after);

private:
    void askToSuspend();

    sigset_t m_previous{};
    std::stop_source m_stop;
    FileDescriptor m_signals, m_end;

    // Guarded by m_lock.
    std::mutex m_lock;
    std::function<void()> m_onSuspend;
    bool m_isAsked = false; // to suspend, and nobody has begun
    std::condition_variable m_answered;

    std::thread m_thread;
};

} // namespace kestrel
