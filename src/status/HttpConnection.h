#pragma once

#include <QSocketNotifier>
#include <QTimer>
#include <cstddef>
#include <functional>
#include <string>

#include "platform/FileDescriptor.h"

namespace kestrel {

// Serves one client: it receives the head of one request and sends one answer. A client that has closed its
// own direction is answered all the same, and what it sends after the head is read and discarded, because
// unread bytes would turn the end of the connection into a reset that can lose the answer. Lives on the
// server's thread.
class HttpConnection {
public:
    struct Events {
        std::function<void(const std::string &head)> asked; // called once, with the empty line at its end
        std::function<void()> ended; // called last, when the client or the answer has ended
    };

    HttpConnection(FileDescriptor socket, Events events);
    HttpConnection(const HttpConnection &) = delete;
    HttpConnection &operator=(const HttpConnection &) = delete;

    bool hasAsked() const { return m_hasAsked; }
    void answer(std::string bytes);

private:
    void read();
    void take(const char *bytes, std::size_t count);
    void write();

    const FileDescriptor m_socket;
    const Events m_events;
    std::string m_head;
    bool m_hasAsked = false;
    std::string m_answer;
    std::size_t m_written = 0;
    QTimer m_clock;
    QSocketNotifier m_readable, m_writable;
};

} // namespace kestrel
