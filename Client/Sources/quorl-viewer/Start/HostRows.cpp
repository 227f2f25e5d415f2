// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Start/HostRows.h>

#include <algorithm>
#include <map>
#include <string>

#include <QuorlKit/Foundation/ASCII.h>

#include <quorl-client/Base/Printable.h>

namespace quorl::viewer {
namespace {

using client::DiscoveredHost;
using client::PairedHost;
using client::printable;

// A name of mDNS may end with a point.
std::string withoutPoint(std::string name) {
  if (name.ends_with('.')) name.pop_back();
  return loweredASCII(name);
}

bool isSame(const PairedHost& host, const DiscoveredHost& found) {
  if (host.endpoint().ssh || host.port != found.port) return false;
  const auto address = withoutPoint(host.address);
  return address == loweredASCII(found.address) || address == withoutPoint(found.hostName) ||
         loweredASCII(host.name) == loweredASCII(found.name);
}

HostRow rowOf(const PairedHost& host, const std::optional<std::vector<DiscoveredHost>>& discovered) {
  HostRow row{printable(host.name), printable(host.endpoint().text()), host.endpoint(), host.deviceID};
  if (!discovered || row.address.ssh) return row;
  const bool isHere =
      std::ranges::any_of(*discovered, [&](const auto& found) { return isSame(host, found); });
  row.presence = isHere ? HostRow::Presence::here : HostRow::Presence::notSeen;
  return row;
}

std::size_t ageOf(const UUID& device, const std::vector<UUID>& lastUsed) {
  return static_cast<std::size_t>(std::ranges::find(lastUsed, device) - lastUsed.begin());
}

}  // namespace

std::vector<HostRow> hostRows(const client::HostBookContents& book, const std::vector<UUID>& lastUsed,
                              const std::optional<std::vector<DiscoveredHost>>& discovered) {
  // Equal entries of a map stay in the order of their insertion.
  std::multimap<std::size_t, const PairedHost*> paired;
  for (const auto& host : book.hosts) paired.emplace(ageOf(host.deviceID, lastUsed), &host);
  std::vector<HostRow> rows;
  for (const auto& [age, host] : paired) rows.push_back(rowOf(*host, discovered));
  if (!discovered) return rows;
  std::multimap<std::string, const DiscoveredHost*> found;
  for (const auto& host : *discovered) found.emplace(loweredASCII(host.name), &host);
  std::vector<DiscoveredHost> listed;
  for (const auto& [name, place] : found) {
    const auto& host = *place;
    const bool isPaired =
        std::ranges::any_of(book.hosts, [&](const PairedHost& known) { return isSame(known, host); });
    // A host with several addresses is found once for each.
    const bool isListed = std::ranges::any_of(listed, [&](const DiscoveredHost& other) {
      return other.hostName == host.hostName && other.port == host.port;
    });
    if (isPaired || isListed) continue;
    listed.push_back(host);
    const client::HostAddress address{host.hostName, host.port, std::nullopt};
    rows.push_back(
        {printable(host.name), printable(address.text()), address, std::nullopt, HostRow::Presence::here});
  }
  return rows;
}

}  // namespace quorl::viewer
