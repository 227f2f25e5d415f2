// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <QuorlKit/WireProtocol.h>

namespace quorl::client {

/// The address of a host.
struct HostAddress {
  std::string host;  // a name or a numeric address, IPv6 without brackets
  std::uint16_t port = WireProtocol::defaultPort;

  /// "name", "name:port", "10.0.0.2:47900", "fe80::1%eth0" (no port), "[fe80::1]:port". A text with two or
  /// more colons and no brackets is an IPv6 address. Nothing for an empty host or a port outside 1 to 65535.
  static std::optional<HostAddress> parse(std::string_view text);

  /// A text that `parse` reads; the default port is left out.
  std::string text() const;

  bool operator==(const HostAddress&) const = default;
};

}  // namespace quorl::client
