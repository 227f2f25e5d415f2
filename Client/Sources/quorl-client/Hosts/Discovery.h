// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <QuorlKit/Foundation/Record.h>

#include <quorl-client/Base/Waiter.h>

namespace quorl::client {

struct DiscoveredHost {
  std::string name;      // as the host calls itself
  std::string hostName;  // for a person or a pairing: "desk.local"
  std::string address;   // numeric
  std::uint16_t port = 0;

  bool operator==(const DiscoveredHost&) const = default;
};
BOOST_DESCRIBE_STRUCT(DiscoveredHost, (), (name, hostName, address, port))

// Asks the machine's mDNS daemon (Avahi, over D-Bus) which hosts announce themselves on the local networks.
// Ends when the daemon has told all it knows, at the latest at the deadline; one host with several addresses
// comes once for each. Fails where there is no daemon.
Outcome<std::vector<DiscoveredHost>> discoverHosts(Waiter& waiter, Deadline deadline);

}  // namespace quorl::client
