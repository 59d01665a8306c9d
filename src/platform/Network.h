#pragma once

#include <string>
#include <vector>

// Reports this computer's names and how others in the home network reach it. Each call asks the system again,
// and may come from any thread.
namespace kestrel::Network {

// Returns the name that its user gave it ("Wohnzimmer-PC").
std::string computerName();
// Returns the host name, with its domain where one is set; empty where there is none.
std::string fullHostName();
// Returns the host name without a domain; empty where there is none.
std::string hostName();
// Returns the name under which others find it without a name server ("wohnzimmer-pc.local"); empty where no
// service announces one.
std::string localHostName();
// Returns the domains that the network's router appends to host names ("fritz.box").
std::vector<std::string> domains();
// Returns the addresses, in digits, of every network card that is up: cable and wireless, none that is only
// local or virtual. They are in the system's order.
std::vector<std::string> ipv4Addresses();

} // namespace kestrel::Network
