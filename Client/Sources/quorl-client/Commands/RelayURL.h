// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>

#include <QuorlKit/Foundation/ByteView.h>

namespace quorl::client {

/// A page of a web service on a host.
struct RelayTarget {
  std::string host;  // a name or a numeric address, IPv6 without brackets
  std::uint16_t relayPort = 0;
  std::uint16_t servicePort = 0;
  std::string path;  // with a query and a fragment if wanted; the leading slash may be left out
};

/// The page's URL through the host's relay. It carries the token of the pairing in the query, which gives
/// access to the host. Characters that do not belong in a URL are percent-encoded. Pure.
std::string relayURL(const RelayTarget& target, const Bytes& token);

}  // namespace quorl::client
