// Real sockets throughout.

#include "status/StatusServer.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <fstream>
#include <future>
#include <mutex>
#include <set>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

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
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

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
    std::string ask(std::string_view request, std::chrono::milliseconds patience = 5s) const
    {
        const FileDescriptor socket = connected(port);
        sent(socket, request);
        return received(socket, patience);
    }
    bool isServed() const { return ask("GET / HTTP/1.1\r\n\r\n").ends_with("\r\n\r\npage"); }

    void answer(const std::string &path, StatusServer::Reply reply)
    {
        if (path == "/")
            return reply(StatusServer::Response{200, "text/html; charset=utf-8", "page"});
        if (path == "/medium")
            return reply(StatusServer::Response{200, "text/plain", std::string(2'000'000, 'x')});
        if (path == "/large")
            return reply(StatusServer::Response{200, "text/plain", std::string(20'000'000, 'x')});
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
    EXPECT_EQ(ask("GET /?x HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n"),
              "HTTP/1.1 200 OK\r\nContent-Type: text/html; charset=utf-8\r\nContent-Length: 4\r\n"
              "Cache-Control: no-store\r\nConnection: close\r\n\r\npage");
    EXPECT_THAT(ask("HEAD / HTTP/1.1\r\n\r\n"),
                testing::AllOf(HasSubstr("Content-Length: 4\r\n"), EndsWith("close\r\n\r\n")));
    EXPECT_THAT(
        ask("GET /../etc/passwd HTTP/1.1\r\n\r\n"),
        testing::AllOf(StartsWith("HTTP/1.1 404 Not Found\r\nContent-Type: text/plain; charset=utf-8"),
                       EndsWith("\r\n\r\nNicht gefunden")));
    EXPECT_THAT(ask("POST / HTTP/1.1\r\nContent-Length: 3\r\n\r\nabc"),
                testing::AllOf(StartsWith("HTTP/1.1 405 Method Not Allowed"),
                               EndsWith("\r\n\r\nDie Seite kann nur anzeigen.")));

    const FileDescriptor pieces = connected(port);
    for (const char *piece : {"GET", " / HTTP/1.1\r", "\n\r", "\n"}) {
        std::this_thread::sleep_for(20ms);
        sent(pieces, piece);
    }
    EXPECT_THAT(received(pieces), EndsWith("page"));
    EXPECT_EQ(ask("GET /large HTTP/1.1\r\n\r\n").size(), 20'000'000U + 115);
}

TEST_F(StatusServerTest, answersOnlyUnderItsOwnNames)
{
    const std::string own = Network::hostName();
    for (const std::string &host : {std::string("localhost:80"), std::string("192.168.1.2"),
                                    std::string("[::1]:80"), own, own + ".local:8765"})
        EXPECT_THAT(ask("GET / HTTP/1.1\r\nHost: " + host + "\r\n\r\n"), EndsWith("page")) << host;
    for (const std::string &host : {std::string("evil.example"), own + ".evil.example", "x" + own,
                                    std::string("127.0.0.1.evil.example"), std::string(),
                                    std::string("127.0.0.1\r\nHost: evil.example")})
        EXPECT_THAT(ask("GET / HTTP/1.1\r\nHost: " + host + "\r\n\r\n"), StartsWith("HTTP/1.1 404")) << host;
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
        sent(socket, "GET / HTTP/1.1\r\nHost: " + host + "\r\n\r\n");
        EXPECT_THAT(received(socket), EndsWith("page")) << url;
    }
}

TEST_F(StatusServerTest, garbageEndsWithoutAnAnswer)
{
    for (const std::string &bytes :
         {std::string("\r\n\r\n"), std::string("GET /\xff HTTP/1.1\r\n\r\n"), std::string(1'000'000, '\0'),
          std::string(1'000'000, 'x'), "GET / HTTP/1.1\r\nX: " + std::string(17'000, 'x') + "\r\n\r\n"}) {
        EXPECT_EQ(ask(bytes), "");
        EXPECT_TRUE(isServed());
    }
    EXPECT_THAT(ask("GET / HTTP/1.1\r\nX: " + std::string(16'000, 'x') + "\r\n\r\n"), EndsWith("page"));

    for (int i = 0; i < 20; ++i) { // resets
        const FileDescriptor socket = connected(port);
        sent(socket, "GET /medium HTTP/1.1\r\n\r\n");
        const linger now{1, 0};
        ::setsockopt(socket.get(), SOL_SOCKET, SO_LINGER, &now, sizeof now);
    }
    EXPECT_TRUE(isServed());
}

TEST_F(StatusServerTest, aThousandHalfOpenConnectionsKeepNobodyOut)
{
    std::vector<FileDescriptor> open;
    for (int i = 0; i < 1000; ++i) {
        open.push_back(connected(port));
        ASSERT_TRUE(open.back());
        if (i % 2 == 0)
            sent(open.back(), "GET / HTT");
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
    const FileDescriptor asksSlowly = connected(port), readsSlowly = connected(port);
    sent(asksSlowly, "GET / HTTP/1.1\r\n");
    sent(readsSlowly, "GET /large HTTP/1.1\r\n\r\n");
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
    const FileDescriptor waits = connected(port), goes = connected(port);
    sent(waits, "GET /slow HTTP/1.1\r\n\r\n");
    const auto first = takeSlow();
    first(StatusServer::Response::text("spät", 200));
    EXPECT_THAT(received(waits), EndsWith("spät"));
    sent(goes, "GET /slow HTTP/1.1\r\n\r\n");
    const auto second = takeSlow();
    {
        StatusServer other(
            [this](const std::string &path, StatusServer::Reply reply) { answer(path, reply); });
        const std::uint16_t otherPort = start(other, 0);
        const FileDescriptor socket = connected(otherPort);
        sent(socket, "GET /slow HTTP/1.1\r\n\r\n");
        takeSlow().swap(slow.emplace_back());
        EXPECT_TRUE(isServed());
    }
    takeSlow()(StatusServer::Response::text("zu spät", 200));
    second(std::nullopt);
    EXPECT_THAT(received(goes), StartsWith("HTTP/1.1 404"));
}

TEST_F(StatusServerTest, whoHasClosedItsOwnDirectionIsStillAnswered)
{
    const FileDescriptor socket = connected(port);
    sent(socket, "GET /slow HTTP/1.1\r\n\r\n");
    ::shutdown(socket.get(), SHUT_WR);
    const auto reply = takeSlow();
    std::this_thread::sleep_for(100ms);
    reply(StatusServer::Response::text("doch noch", 200));
    EXPECT_THAT(received(socket), EndsWith("doch noch"));

    const FileDescriptor posts = connected(port);
    sent(posts, "POST / HTTP/1.1\r\nContent-Length: 100000\r\n\r\n");
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
                answered += ask("GET / HTTP/1.1\r\n\r\n").ends_with("page") ? 1 : 0;
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
    EXPECT_THAT(page, StartsWith("<!DOCTYPE html>\n<html lang=\"de\">"));
    EXPECT_THAT(page, EndsWith("</html>\n"));
    EXPECT_THAT(page, HasSubstr("--purple: #bf5af2;"));
    EXPECT_THAT(page, HasSubstr("window.addEventListener(\"pageshow\", refresh);"));
    EXPECT_EQ(page.find("@STYLE@"), std::string::npos);
    EXPECT_THAT(StatusPage::touchIcon(), StartsWith("\x89PNG"));
}

} // namespace
} // namespace kestrel
