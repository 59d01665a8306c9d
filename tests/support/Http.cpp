#include "support/Http.h"

#include <array>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

namespace kestrel::test {

namespace {

sockaddr_in at(const std::string &address, std::uint16_t port)
{
    sockaddr_in place{};
    place.sin_family = AF_INET;
    place.sin_port = htons(port);
    ::inet_pton(AF_INET, address.c_str(), &place.sin_addr);
    return place;
}

} // namespace

std::uint16_t freePort()
{
    const FileDescriptor socket = listener(0);
    sockaddr_in address{};
    socklen_t size = sizeof address;
    ::getsockname(socket.get(), reinterpret_cast<sockaddr *>(&address), &size);
    return ntohs(address.sin_port);
}

FileDescriptor listener(std::uint16_t port)
{
    FileDescriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const sockaddr_in address = at("127.0.0.1", port);
    const int yes = 1;
    ::setsockopt(socket.get(), SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    if (::bind(socket.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 ||
        ::listen(socket.get(), 8) != 0)
        return {};
    return socket;
}

FileDescriptor connected(std::uint16_t port, const std::string &address)
{
    FileDescriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const sockaddr_in there = at(address, port);
    if (::connect(socket.get(), reinterpret_cast<const sockaddr *>(&there), sizeof there) != 0)
        return {};
    return socket;
}

bool sent(const FileDescriptor &socket, std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t count = ::send(socket.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count <= 0)
            return false;
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

std::string received(const FileDescriptor &socket, std::chrono::milliseconds patience)
{
    if (!socket)
        return {};
    std::string text;
    std::array<char, 65536> buffer{};
    for (;;) {
        pollfd watched{socket.get(), POLLIN, 0};
        if (::poll(&watched, 1, static_cast<int>(patience.count())) <= 0)
            return text + "timeout";
        const ssize_t count = ::recv(socket.get(), buffer.data(), buffer.size(), 0);
        if (count <= 0)
            return text;
        text.append(buffer.data(), static_cast<std::size_t>(count));
    }
}

std::string httpGet(std::uint16_t port, const std::string &path)
{
    const FileDescriptor socket = connected(port);
    if (!socket || !sent(socket, "GET " + path + " HTTP/1.1\r\n\r\n"))
        return {};
    return received(socket);
}

} // namespace kestrel::test
