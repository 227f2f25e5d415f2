// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Network/LANAddresses.h>

#include <algorithm>

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace quorl {

namespace {

bool isForLAN(const std::array<std::uint8_t, 4>& address) {
  const bool isLoopback = address[0] == 127;
  const bool isLinkLocal = address[0] == 169 && address[1] == 254;
  const bool isShared = address[0] == 100 && (address[1] & 0xC0) == 64;
  return !isLoopback && !isLinkLocal && !isShared;
}

}  // namespace

std::vector<std::string> lanAddresses(const std::vector<InterfaceAddress>& addresses) {
  std::vector<std::string> texts;
  for (const InterfaceAddress& entry : addresses) {
    if (entry.kind != InterfaceAddress::Kind::lan || !isForLAN(entry.address)) continue;
    std::string text = fmt::format("{}", fmt::join(entry.address, "."));
    if (std::ranges::find(texts, text) == texts.end()) texts.push_back(std::move(text));
  }
  return texts;
}

}  // namespace quorl
