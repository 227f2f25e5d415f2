// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <QuorlKit/WireProtocol.h>

namespace quorl::client {

/// How ssh logs in at a host. The user's ssh configuration supplies what is absent.
struct SSHLogin {
  std::string user;        // empty: absent
  std::uint16_t port = 0;  // of the ssh server; 0: absent

  bool operator==(const SSHLogin&) const = default;
};

/// The address of a host, and the way there.
struct HostAddress {
  std::string host;  // a name or a numeric address, IPv6 without brackets
  std::uint16_t port = WireProtocol::defaultPort;
  /// If set, the session runs through ssh to `host`, which connects to `port` on its own loopback interface.
  std::optional<SSHLogin> ssh;

  /// "name", "name:port", "10.0.0.2:47900", "fe80::1%eth0" (no port), "[fe80::1]:port". A text with two or
  /// more colons and no brackets is an IPv6 address. Nothing for an empty host or a port outside 1 to 65535.
  ///
  /// "ssh://[user@]host[:port][?port=N]": the port after the colon is ssh's, as in every ssh URL (RFC 3986,
  /// section 3.2); N is the port of the host's sessions. Nothing for a user or a host that ssh could take for
  /// an option or that a shell in the ssh configuration could take for a command, and for a password.
  static std::optional<HostAddress> parse(std::string_view text);

  /// A text that `parse` reads; the default port is left out.
  std::string text() const;
  /// The text without "?port=": what `parse` needs beside the port.
  std::string textWithoutPort() const;

  bool operator==(const HostAddress&) const = default;
};

/// Whether both lead to the same place: names of computers are compared without regard to case.
bool isSameAddress(const HostAddress& a, const HostAddress& b);

}  // namespace quorl::client
