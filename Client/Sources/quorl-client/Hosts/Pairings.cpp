// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Hosts/Pairings.h>

#include <algorithm>

namespace quorl::client {

bool isPIN(std::string_view text) {
  return text.size() == 6 &&
         std::ranges::all_of(text, [](char digit) { return digit >= '0' && digit <= '9'; });
}

Outcome<PairedHost> keepPairing(HostBook& book, const HostAddress& address, Paired paired) {
  const auto& device = paired.acknowledgement.device;
  PairedHost host{device.name, address.textWithoutPort(), address.port, device.deviceID,
                  std::move(paired.token)};
  const auto updated = book.update([&](HostBookContents& contents) {
    std::erase_if(contents.hosts, [&](const PairedHost& other) {
      return other.deviceID == host.deviceID || other.endpoint() == host.endpoint();
    });
    contents.hosts.push_back(host);
  });
  if (!updated) return std::unexpected(updated.error());
  return host;
}

}  // namespace quorl::client
