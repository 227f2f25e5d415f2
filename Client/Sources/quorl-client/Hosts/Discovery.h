// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <QuorlKit/Foundation/Record.h>

#include <quorl-client/Base/Waiter.h>

namespace quorl::client {

struct DiscoveredHost {
  std::string name;      // the name the host announces
  std::string hostName;  // for a person or a pairing: "desk.local"
  std::string address;   // numeric
  std::uint16_t port = 0;

  bool operator==(const DiscoveredHost&) const = default;
};
BOOST_DESCRIBE_STRUCT(DiscoveredHost, (), (name, hostName, address, port))

/// Asks the machine's mDNS daemon (Avahi, over D-Bus) for the hosts on the local networks. Returns when the
/// daemon has reported all, at the latest at the deadline. A host with several addresses is listed once for
/// each. Fails if there is no daemon.
Outcome<std::vector<DiscoveredHost>> discoverHosts(Waiter& waiter, Deadline deadline);

}  // namespace quorl::client
