#pragma once

#include <functional>
#include <memory>

namespace kestrel {

// Passes calls from any thread to the thread that created the mailbox, whose event loop runs them one after
// another in the order of posting. The destructor drops the calls that have not run. REQUIRES: that thread
// destroys it, after the last post().
class Mailbox {
public:
    Mailbox();
    ~Mailbox();
    Mailbox(const Mailbox &) = delete;
    Mailbox &operator=(const Mailbox &) = delete;

    // May be called from any thread.
    void post(std::function<void()> action);

private:
    class Receiver;
    std::unique_ptr<Receiver> m_receiver;
};

} // namespace kestrel
