// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <vector>

#include <quorl-client/Hosts/Discovery.h>
#include <quorl-client/Hosts/HostBook.h>

namespace quorl::viewer {

/// A host as the start window lists it. Texts are printable.
struct HostRow {
  enum class Presence : std::uint8_t { unknown, here, notSeen };

  std::string title;
  std::string detail;            // its address
  client::HostAddress address;   // for a connection or a pairing
  std::optional<UUID> deviceID;  // of a paired host
  Presence presence = Presence::unknown;

  bool operator==(const HostRow&) const = default;
};

/// The paired hosts, the last used one first, then the discovered ones that are not paired, by name. A paired
/// host that discovery has not found stays; an address of ssh is never discovered, so its presence is
/// unknown. `discovered`: nothing while the search runs or if it failed.
std::vector<HostRow> hostRows(const client::HostBookContents& book, const std::vector<UUID>& lastUsed,
                              const std::optional<std::vector<client::DiscoveredHost>>& discovered);

}  // namespace quorl::viewer
