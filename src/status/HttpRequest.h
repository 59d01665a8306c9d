#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kestrel {

// Holds the head of an HTTP/1.1 request, as far as the status page needs it.
struct HttpRequest {
    std::string method;
    std::string path;                // the target up to "?"; "/" where it is missing
    std::optional<std::string> host; // as written, with its port
    bool hasSeveralHosts = false;

    // Parses a head; absent when it is no request that could be answered: not UTF-8, or without a method.
    // Pure. REQUIRES: `head` ends with the empty line (CR LF CR LF).
    static std::optional<HttpRequest> parse(std::string_view head);
};

// Returns the name in a Host header, in lower case, without port, brackets and a dot at its end.
std::string hostWithoutPort(std::string_view host);
// Returns whether it is an IPv4 or IPv6 address.
bool isAddressInDigits(const std::string &host);

} // namespace kestrel
