#pragma once

#include <functional>
#include <mutex>
#include <thread>

#include "platform/FileDescriptor.h"

#include <signal.h>

namespace kestrel {

// Turns the signals that ask a program to end (Ctrl-C, kill, a closed terminal) into calls, and Ctrl-Z, too,
// where a handler is given for it. While no handler is set, they have their default effect. REQUIRES: there
// is one object at a time, created before any thread by the thread that starts the others, which inherit the
// blocked signals.
class Signals {
public:
    using Handler = std::function<void()>; // runs on a thread of its own, one call at a time

    explicit Signals(Handler onSuspend = {});
    ~Signals();
    Signals(const Signals &) = delete;
    Signals &operator=(const Signals &) = delete;

    // Waits for a running handler to return; afterwards the former one is not called any more.
    void setOnEnd(Handler handler);

    // Makes writing to a pipe whose reader has closed its end fail, instead of ending the program.
    static void ignoreBrokenPipes();
    // Stops the whole program at once, until another process continues it.
    static void freeze();
    // Does what Ctrl-Z does to other programs, and returns when the shell has continued this one. Where no
    // shell could do so (in an orphaned process group), it returns at once.
    static void suspend();
    // Restores a new process's usual signals, between its start and its program; async-signal-safe.
    static void unblockInChild();

private:
    void listen();
    void handleEnd(int number);

    sigset_t m_previous{};
    FileDescriptor m_signals, m_end;
    const Handler m_onSuspend;

    // Guarded by m_lock.
    std::mutex m_lock;
    Handler m_onEnd;

    std::thread m_thread;
};

} // namespace kestrel
