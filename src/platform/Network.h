#pragma once

#include <string>
#include <vector>

// What this computer is called and how others in the home network reach it. Each call asks the system again;
// any thread.
namespace kestrel::Network {

// The name that its user gave it ("Wohnzimmer-PC").
std::string computerName();
// The host name, with its domain where one is set; empty where there is none.
std::string fullHostName();
// The host name without a domain; empty where there is none.
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
