#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/FileDescriptor.h"

namespace kestrel::test {

// A port of this computer that nobody listens on.
std::uint16_t freePort();

// Somebody who listens there, and answers nothing.
FileDescriptor listener(std::uint16_t port);

// To a server on this computer; empty where nobody listens.
FileDescriptor connected(std::uint16_t port, const std::string &address = "127.0.0.1");
// False when the other side has ended the connection.
bool sent(const FileDescriptor &socket, std::string_view bytes);
// Everything until the other side ends it; with "timeout" at the end where it does not.
std::string received(const FileDescriptor &socket,
                     std::chrono::milliseconds patience = std::chrono::seconds(5));
// Head and body of the answer; empty where there is none.
std::string httpGet(std::uint16_t port, const std::string &path);

} // namespace kestrel::test
