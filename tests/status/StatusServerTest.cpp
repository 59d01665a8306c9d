// Real sockets throughout.

#include "status/StatusServer.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <future>
#include <mutex>
#include <set>
#include <thread>

#include <gmock/gmock.h>

#include "platform/Network.h"
#include "status/StatusPage.h"
#include "support/Http.h"

#include <sys/socket.h>

namespace kestrel {
namespace {

using namespace std::chrono_literals;
using test::connected;
using test::received;
using test::sent;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

std::string get(const std::string &path, const std::string &headers = "")
{
    return "GET " + path + " HTTP/1.1\r\n" + headers + "\r\n";
}

// Answers "/" with "page", "/slow" once it is told to, "/medium" and "/large" with a body beyond most
// buffers and beyond all.
class StatusServerTest : public testing::Test {
protected:
    StatusServerTest() { port = start(server, 0); }

    // The port that it listens on; the reason why not is in `error`.
    std::uint16_t start(StatusServer &which, std::uint16_t wanted)
    {
        if (wanted == 0)
            wanted = test::freePort();
        std::promise<std::optional<std::string>> state;
        which.start(wanted, [&](const auto &text) { state.set_value(text); });
        error = state.get_future().get();
        return wanted;
    }
    FileDescriptor asked(std::string_view request) const
    {
        FileDescriptor socket = connected(port);
        sent(socket, request);
        return socket;
    }
    std::string ask(std::string_view request) const { return received(asked(request)); }
    bool isServed() const { return ask(get("/")).ends_with("\r\n\r\npage"); }

    void answer(const std::string &path, StatusServer::Reply reply)
    {
        using Response = StatusServer::Response;
        if (path == "/")
            return reply(Response{200, "text/html; charset=utf-8", "page"});
        if (path == "/medium" || path == "/large")
            return reply(Response::text(std::string(path == "/large" ? 20'000'000 : 2'000'000, 'x'), 200));
        if (path != "/slow")
            return reply(std::nullopt);
        const std::scoped_lock guard(lock);
        slow.push_back(std::move(reply));
        hasSlow.notify_all();
    }
    StatusServer::Reply takeSlow()
    {
        std::unique_lock guard(lock);
        hasSlow.wait(guard, [this] { return !slow.empty(); });
        auto reply = slow.back();
        slow.pop_back();
        return reply;
    }

    std::mutex lock;
    std::condition_variable hasSlow;
    std::vector<StatusServer::Reply> slow;
    StatusServer server{[this](const std::string &path, StatusServer::Reply reply) { answer(path, reply); }};
    std::optional<std::string> error;
    std::uint16_t port = 0;
};

TEST_F(StatusServerTest, answersAsABrowserExpects)
{
    EXPECT_EQ(error, std::nullopt);
    EXPECT_EQ(ask(get("/?x", "Host: 127.0.0.1\r\n")),
              "HTTP/1.1 200 OK\r\nContent-Type: text/html; charset=utf-8\r\nContent-Length: 4\r\n"
              "Cache-Control: no-store\r\nConnection: close\r\n\r\npage");
    EXPECT_THAT(ask("HEAD / HTTP/1.1\r\n\r\n"),
                AllOf(HasSubstr("Content-Length: 4\r\n"), EndsWith("close\r\n\r\n")));
    EXPECT_THAT(ask(get("/../etc/passwd")),
                AllOf(StartsWith("HTTP/1.1 404 Not Found\r\nContent-Type: text/plain; charset=utf-8"),
                      EndsWith("\r\n\r\nNicht gefunden")));
    EXPECT_THAT(ask("POST / HTTP/1.1\r\nContent-Length: 3\r\n\r\nabc"),
                AllOf(StartsWith("HTTP/1.1 405 Method Not Allowed"),
                      EndsWith("\r\n\r\nDie Seite kann nur anzeigen.")));

    const FileDescriptor pieces = connected(port);
    for (const char *piece : {"GET", " / HTTP/1.1\r", "\n\r", "\n"}) {
        std::this_thread::sleep_for(20ms);
        sent(pieces, piece);
    }
    EXPECT_THAT(received(pieces), EndsWith("page"));
    EXPECT_THAT(ask(get("/large")), EndsWith("\r\n\r\n" + std::string(20'000'000, 'x')));
}

TEST_F(StatusServerTest, answersOnlyUnderItsOwnNames)
{
    const std::string own = Network::hostName();
    const std::vector<std::string> names{"localhost:80", "192.168.1.2", "[::1]:80", own, own + ".local:8765"};
    for (const std::string &host : names)
        EXPECT_THAT(ask(get("/", "Host: " + host + "\r\n")), EndsWith("page")) << host;
    const std::vector<std::string> others{"evil.example",
                                          own + ".evil.example",
                                          "x" + own,
                                          "127.0.0.1.evil.example",
                                          "",
                                          "127.0.0.1\r\nHost: evil.example"};
    for (const std::string &host : others)
        EXPECT_THAT(ask(get("/", "Host: " + host + "\r\n")), StartsWith("HTTP/1.1 404")) << host;
}

TEST_F(StatusServerTest, isReachedUnderEveryAddressItNames)
{
    std::set<std::string> seen;
    for (const std::string &url : StatusServer::pageURLs(port)) {
        EXPECT_TRUE(seen.insert(url).second) << url;
        const std::string begin = "http://", end = ":" + std::to_string(port);
        ASSERT_THAT(url, testing::AllOf(StartsWith(begin), EndsWith(end)));
        const std::string host = url.substr(begin.size(), url.size() - begin.size() - end.size());
        EXPECT_FALSE(host.starts_with("127.") || host.starts_with("169.254.")) << url;
        if (host.ends_with(".local")) // found by a name service, where there is one
            continue;
        const FileDescriptor socket = connected(port, host);
        sent(socket, get("/", "Host: " + host + "\r\n"));
        EXPECT_THAT(received(socket), EndsWith("page")) << url;
    }
}

TEST_F(StatusServerTest, garbageEndsWithoutAnAnswer)
{
    const auto longHeader = [](int size) { return "X: " + std::string(size, 'x') + "\r\n"; };
    for (const std::string &bytes : {get("/\xff"), std::string(1'000'000, '\0'), std::string(1'000'000, 'x'),
                                     get("/", longHeader(17'000))}) {
        EXPECT_EQ(ask(bytes), "");
        EXPECT_TRUE(isServed());
    }
    EXPECT_THAT(ask(get("/", longHeader(16'000))), EndsWith("page"));

    for (int i = 0; i < 20; ++i) { // resets
        const FileDescriptor socket = asked(get("/medium"));
        const linger now{1, 0};
        ::setsockopt(socket.get(), SOL_SOCKET, SO_LINGER, &now, sizeof now);
    }
    EXPECT_TRUE(isServed());
}

TEST_F(StatusServerTest, aThousandHalfOpenConnectionsKeepNobodyOut)
{
    std::vector<FileDescriptor> open;
    for (int i = 0; i < 1000; ++i) {
        open.push_back(asked(i % 2 == 0 ? "GET / HTT" : ""));
        ASSERT_TRUE(open.back());
    }
    EXPECT_TRUE(isServed());
    std::size_t held = 0;
    for (const auto &socket : open)
        held += received(socket, 0ms) == "timeout" ? 1 : 0;
    EXPECT_LE(held, 64U);
    EXPECT_GE(held, 60U);
}

TEST_F(StatusServerTest, theSlowAreGivenUpAfterTenSeconds)
{
    const auto begun = std::chrono::steady_clock::now();
    const FileDescriptor asksSlowly = asked("GET / HTTP/1.1\r\n"), readsSlowly = asked(get("/large"));
    EXPECT_EQ(received(asksSlowly, 20s), "");
    const auto lasted = std::chrono::steady_clock::now() - begun;
    EXPECT_GT(lasted, 9s);
    EXPECT_LT(lasted, 15s);
    std::this_thread::sleep_for(2s);
    const std::string part = received(readsSlowly);
    EXPECT_LT(part.size(), 20'000'000U);
    EXPECT_FALSE(part.ends_with("timeout"));
}

TEST_F(StatusServerTest, aReplyMayComeLateOrNeverOrAfterTheEnd)
{
    const FileDescriptor waits = asked(get("/slow"));
    takeSlow()(StatusServer::Response::text("spät", 200));
    EXPECT_THAT(received(waits), EndsWith("spät"));
    const FileDescriptor goes = asked(get("/slow"));
    const auto never = takeSlow();
    std::optional<StatusServer> other(
        std::in_place, [this](const std::string &path, StatusServer::Reply reply) { answer(path, reply); });
    const FileDescriptor socket = connected(start(*other, 0));
    sent(socket, get("/slow"));
    const auto late = takeSlow();
    EXPECT_TRUE(isServed());
    other.reset();
    late(StatusServer::Response::text("zu spät", 200));
    never(std::nullopt);
    EXPECT_THAT(received(goes), StartsWith("HTTP/1.1 404"));
}

TEST_F(StatusServerTest, whoHasClosedItsOwnDirectionIsStillAnswered)
{
    const FileDescriptor socket = asked(get("/slow"));
    ::shutdown(socket.get(), SHUT_WR);
    const auto reply = takeSlow();
    std::this_thread::sleep_for(100ms);
    reply(StatusServer::Response::text("doch noch", 200));
    EXPECT_THAT(received(socket), EndsWith("doch noch"));

    const FileDescriptor posts = asked("POST / HTTP/1.1\r\nContent-Length: 100000\r\n\r\n");
    for (int i = 0; i < 10; ++i) {
        sent(posts, std::string(10'000, 'x'));
        std::this_thread::sleep_for(10ms);
    }
    EXPECT_THAT(received(posts), EndsWith("Die Seite kann nur anzeigen."));
}

TEST_F(StatusServerTest, saysWhyItCannotListen)
{
    StatusServer second([](const std::string &, const StatusServer::Reply &reply) { reply(std::nullopt); });
    start(second, port);
    EXPECT_EQ(error, "Port " + std::to_string(port) + " ist schon belegt – läuft Kestrel ein zweites Mal?");
    start(second, 0);
    EXPECT_EQ(error, std::nullopt) << "on another port";

    server.stop();
    while (connected(port))
        std::this_thread::sleep_for(5ms);
    start(server, port);
    EXPECT_EQ(error, std::nullopt) << "at once, although old connections linger";
    EXPECT_TRUE(isServed());
}

TEST_F(StatusServerTest, stopsAndStartsWhileRequestsCome)
{
    std::atomic<bool> isOver = false;
    std::atomic<int> answered = 0;
    std::vector<std::jthread> clients;
    for (int i = 0; i < 4; ++i)
        clients.emplace_back([&] {
            while (!isOver)
                answered += isServed() ? 1 : 0;
        });
    for (int round = 0; round < 100; ++round) {
        server.stop();
        start(server, port);
        ASSERT_EQ(error, std::nullopt);
        std::this_thread::sleep_for(2ms);
    }
    isOver = true;
    clients.clear();
    EXPECT_GT(answered, 20);
    EXPECT_TRUE(isServed());
}

TEST(StatusPage, isWholeAndHasNothingOutsideIt)
{
    const std::string page(StatusPage::html());
    EXPECT_THAT(page, AllOf(StartsWith("<!DOCTYPE html>\n<html lang=\"de\">"), EndsWith("</html>\n"),
                            HasSubstr("--purple: #bf5af2;"),
                            HasSubstr("window.addEventListener(\"pageshow\", refresh);"),
                            testing::Not(HasSubstr("@STYLE@"))));
    EXPECT_THAT(StatusPage::touchIcon(), StartsWith("\x89PNG"));
}

} // namespace
} // namespace kestrel
