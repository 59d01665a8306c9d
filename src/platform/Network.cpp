#include "platform/Network.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string_view>
#include <system_error>

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <unistd.h>

namespace kestrel::Network {

namespace {

// systemd's and the kernel's names of wired and wireless cards begin so.
constexpr std::array<std::string_view, 3> cardNames{"en", "eth", "wl"};

// Avahi answers queries for the ".local" names.
constexpr const char *announcer = "/run/avahi-daemon/socket";

// Returns the value of "KEY=value" or "KEY="value"" in a file of such lines.
std::string valueIn(const char *file, std::string_view key)
{
    std::ifstream lines(file);
    for (std::string line; std::getline(lines, line);) {
        if (!line.starts_with(key) || line.size() <= key.size() || line[key.size()] != '=')
            continue;
        std::string value = line.substr(key.size() + 1);
        std::erase(value, '"');
        return value;
    }
    return {};
}

} // namespace

std::string computerName()
{
    // https://www.freedesktop.org/software/systemd/man/machine-info.html
    const std::string pretty = valueIn("/etc/machine-info", "PRETTY_HOSTNAME");
    return pretty.empty() ? hostName() : pretty;
}

std::string fullHostName()
{
    std::array<char, 256> name{};
    return ::gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "";
}

std::string hostName()
{
    const std::string full = fullHostName();
    return full.substr(0, full.find('.'));
}

std::string localHostName()
{
    std::error_code ignored;
    const std::string name = hostName();
    if (name.empty() || name == "localhost" || !std::filesystem::exists(announcer, ignored))
        return {};
    return name + ".local";
}

std::vector<std::string> domains()
{
    std::vector<std::string> found;
    std::ifstream lines("/etc/resolv.conf");
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string key;
        words >> key;
        if (key != "search" && key != "domain")
            continue;
        for (std::string domain; words >> domain;)
            found.push_back(domain);
    }
    return found;
}

std::vector<std::string> ipv4Addresses()
{
    ifaddrs *list = nullptr;
    if (::getifaddrs(&list) != 0)
        return {};
    const std::unique_ptr<ifaddrs, void (*)(ifaddrs *)> owner(list, ::freeifaddrs);

    std::vector<std::string> found;
    for (const ifaddrs *entry = list; entry != nullptr; entry = entry->ifa_next) {
        const std::string_view name = entry->ifa_name;
        const bool isCard = std::any_of(cardNames.begin(), cardNames.end(),
                                        [&](std::string_view start) { return name.starts_with(start); });
        const bool isUp = (entry->ifa_flags & IFF_UP) != 0 && (entry->ifa_flags & IFF_LOOPBACK) == 0;
        if (!isCard || !isUp || entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET)
            continue;
        std::array<char, INET_ADDRSTRLEN> text{};
        const auto *address = reinterpret_cast<const sockaddr_in *>(entry->ifa_addr); // its family says so
        ::inet_ntop(AF_INET, &address->sin_addr, text.data(), text.size());
        const std::string digits = text.data();
        if (!digits.starts_with("169.254.") && std::find(found.begin(), found.end(), digits) == found.end())
            found.push_back(digits);
    }
    return found;
}

} // namespace kestrel::Network
