// status-page-server FILE: serves the status page, and the file's content as its snapshot ("-" in the file:
// no answer), until its standard input ends. Prints the port.

#include <QCoreApplication>
#include <cstdio>
#include <future>
#include <iostream>

#include "status/StatusPage.h"
#include "status/StatusServer.h"
#include "support/Http.h"
#include "support/Sandbox.h"

using namespace kestrel;

int main(int count, char **words)
{
    const QCoreApplication application(count, words);
    if (count != 2)
        return 1;
    const std::string file = words[1];
    StatusServer server([&](const std::string &path, const StatusServer::Reply &reply) {
        using Response = StatusServer::Response;
        if (path == "/")
            return reply(Response{200, "text/html; charset=utf-8", std::string(StatusPage::html())});
        if (path == "/apple-touch-icon.png")
            return reply(Response{200, "image/png", std::string(StatusPage::touchIcon())});
        if (path != "/status.json")
            return reply(std::nullopt);
        const std::string snapshot = test::readFile(file);
        if (snapshot != "-")
            reply(Response{200, "application/json; charset=utf-8", snapshot});
    });
    const std::uint16_t port = test::freePort();
    std::promise<bool> isListening;
    server.start(port, [&](const auto &error) { isListening.set_value(!error); });
    if (!isListening.get_future().get())
        return 1;
    std::printf("%u\n", port);
    std::fflush(stdout);
    for (std::string line; std::getline(std::cin, line);) {
    }
    return 0;
}
