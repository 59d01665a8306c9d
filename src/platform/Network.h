#pragma once

#include <string>
#include <vector>

// What this computer is called and how others in the home network reach it. Asked anew each time; any
// thread.
namespace kestrel::Network {

// As its user has named it ("Wohnzimmer-PC").
std::string computerName();
// As the computer knows it, with its domain where it has been given one; empty where there is none.
std::string fullHostName();
// Without a domain; empty where there is none.
std::string hostName();
// The name under which others find it without a name server ("wohnzimmer-pc.local"). Empty where no
// service announces one.
std::string localHostName();
// The domains that the network's router puts behind host names ("fritz.box").
std::vector<std::string> domains();
// In digits, of every network card that is up: cable and wireless, none that are only local or virtual. In
// the system's order.
std::vector<std::string> ipv4Addresses();

} // namespace kestrel::Network
