#include "status/HttpRequest.h"

#include <algorithm>

#include "platform/Text.h"

#include <arpa/inet.h>

namespace kestrel {

std::optional<HttpRequest> HttpRequest::parse(std::string_view head)
{
    if (Text::repaired(head) != head)
        return std::nullopt;
    constexpr std::string_view lineEnd = "\r\n";
    const std::size_t first = head.find(lineEnd);
    const auto words = Text::pieces(head.substr(0, first), " ");
    if (words.empty())
        return std::nullopt;
    HttpRequest request;
    request.method = words.front();
    request.path = words.size() > 1 ? words[1].substr(0, words[1].find('?')) : "/";

    for (std::size_t at = first; at != std::string_view::npos && at < head.size();) {
        const std::size_t begin = at + lineEnd.size();
        at = head.find(lineEnd, begin);
        const std::string_view line = head.substr(begin, at - begin);
        const std::size_t colon = line.find(':');
        if (colon == std::string_view::npos || Text::lower(line.substr(0, colon)) != "host")
            continue;
        request.hasSeveralHosts = request.host.has_value();
        request.host = Text::trimmed(line.substr(colon + 1));
    }
    return request;
}

std::string hostWithoutPort(std::string_view host)
{
    if (host.starts_with('['))
        return Text::lower(host.substr(1, std::min(host.find(']'), host.size()) - 1));
    std::string name = Text::lower(host.substr(0, host.find(':')));
    if (name.ends_with('.'))
        name.pop_back();
    return name;
}

bool isAddressInDigits(const std::string &host)
{
    in6_addr unused{};
    const std::string withoutZone = host.substr(0, host.find('%'));
    return ::inet_pton(AF_INET, host.c_str(), &unused) == 1 ||
           ::inet_pton(AF_INET6, withoutZone.c_str(), &unused) == 1;
}

} // namespace kestrel
