#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <stop_token>

#include "platform/Signals.h"

namespace kestrel {

// Turns the signals that ask the program to end (see Signals) into a stop request, and Ctrl-Z into a call.
// Ignores broken pipes: a reader that closes its end must not end a conversion. REQUIRES: the object is
// created before any thread, like Signals.
class Interrupt {
public:
    Interrupt();
    Interrupt(const Interrupt &) = delete;
    Interrupt &operator=(const Interrupt &) = delete;

    std::stop_token token() const { return m_stop.get_token(); }
    bool isRequested() const { return m_stop.stop_requested(); }

    // Sets what Ctrl-Z calls, on a thread of its own; the action must lead to suspend(). Without an action,
    // or when suspend() is not called soon, the whole program is frozen.
    void setOnSuspend(std::function<void()> action);
    // Stops the program until the shell continues it, and calls `before` and `after`; does nothing once the
    // program has been frozen without them.
    void suspend(const std::function<void()> &before, const std::function<void()> &after);

private:
    void askToSuspend();

    std::stop_source m_stop;

    // Guarded by m_lock.
    std::mutex m_lock;
    std::function<void()> m_onSuspend;
    bool m_isAsked = false; // set from a request to suspend until suspend() begins
    std::condition_variable m_answered;

    Signals m_signals;
};

} // namespace kestrel
