#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace kestrel {

// Serves HTTP/1.1 in the home network: it gives one answer for each connection, to GET and HEAD only. A
// handler provides the content; the server does not depend on the application. It tolerates clients that send
// garbage, send or read too slowly, or connect in great numbers: their connections are closed, and the next
// request is served. It works on a thread of its own. REQUIRES: the thread that created it calls all
// functions.
class StatusServer {
public:
    struct Response {
        int status = 200;
        std::string contentType;
        std::string body;

        static Response text(std::string message, int status);
    };
    // Called once for each request, from any thread; without a response, the answer is 404.
    using Reply = std::function<void(std::optional<Response>)>;
    // Called on the server's thread, with the path of the request.
    using Handler = std::function<void(const std::string &path, Reply reply)>;
    // Called on the server's thread: without a text once it listens, else with the German reason why not.
    using OnState = std::function<void(std::optional<std::string> error)>;

    static inline std::uint16_t port = 8765; // the default port

    explicit StatusServer(Handler handler);
    // Closes all connections.
    ~StatusServer();
    StatusServer(const StatusServer &) = delete;
    StatusServer &operator=(const StatusServer &) = delete;

    void start(std::uint16_t number, OnState onState);
    // Accepts no more connections; open ones finish.
    void stop();
    // Calls `action` on the server's thread; drops it when the server ends before.
    void post(std::function<void()> action);

    // Returns the addresses of the page; the first is the easiest to type.
    static std::vector<std::string> pageURLs(std::uint16_t number);

private:
    class Listener;
    struct Thread;
    std::unique_ptr<Thread> m_thread;
};

} // namespace kestrel
