#pragma once

#include <functional>
#include <memory>

namespace kestrel {

// Brings calls from any thread to the thread that made the mailbox, whose event loop runs them one after
// another in the order of their posting. Destroy it on that thread, once nobody posts any more; what has not
// been run by then is dropped.
class Mailbox {
public:
    Mailbox();
    ~Mailbox();
    Mailbox(const Mailbox &) = delete;
    Mailbox &operator=(const Mailbox &) = delete;

    // From any thread.
    void post(std::function<void()> action);

private:
    class Receiver;
    std::unique_ptr<Receiver> m_receiver;
};

} // namespace kestrel
