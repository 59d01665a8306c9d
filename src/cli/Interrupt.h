#pragma once

#include <atomic>
#include <stop_token>
#include <thread>

#include "platform/FileDescriptor.h"

#include <signal.h>

namespace kestrel {

// Turns the signals that ask the program to end (Ctrl-C, a closed terminal, kill) into a stop request.
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

private:
    sigset_t m_previous{};
    std::stop_source m_stop;
    FileDescriptor m_signals, m_end;
    std::thread m_thread;
};

} // namespace kestrel
