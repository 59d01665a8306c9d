#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kestrel {

// The head of an HTTP/1.1 request, as far as the status page needs it.
struct HttpRequest {
    std::string method;
    std::string path;                // the target up to "?"; "/" where it is missing
    std::optional<std::string> host; // as written, with its port
    bool hasSeveralHosts = false;

    // Pure. `head` ends with the empty line (CR LF CR LF). Absent when it is no request that could be
    // answered: not UTF-8, or without a method.
    static std::optional<HttpRequest> parse(std::string_view head);
};

// The name in a Host header, in lower case, without port, brackets and a dot at its end.
std::string hostWithoutPort(std::string_view host);
// IPv4 or IPv6.
bool isAddressInDigits(const std::string &host);

} // namespace kestrel
