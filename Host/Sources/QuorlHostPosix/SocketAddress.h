// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <expected>
#include <optional>

#include <sys/socket.h>

#include <QuorlHostCore/Ports/Network.h>
#include <QuorlUnix/Descriptor.h>

namespace quorl {

/// An address of either family, for the socket calls.
struct SocketAddress {
  sockaddr_storage storage{};
  socklen_t size = 0;

  const sockaddr* get() const { return reinterpret_cast<const sockaddr*>(&storage); }
};

/// The numeric host (an IPv4 address inside an IPv6 one is printed as IPv4, a link-local one keeps its zone)
/// and the port.
std::optional<HostPort> hostPortOf(const SocketAddress& address);

/// Parses a numeric address. `resolve` also looks up names, which blocks.
enum class NameLookup : std::uint8_t { numericOnly, resolve };
std::optional<SocketAddress> socketAddressFor(const HostPort& peer, NameLookup lookup);

/// A listening socket on all addresses of both families, or of IPv4 alone on a machine without IPv6. `made`
/// is false in the error if the socket could not be created, true if it could not be bound.
struct ListenError {
  PortError error;
  bool made = false;
};
std::expected<Descriptor, ListenError> listenOnAllAddresses(std::uint16_t port);

}  // namespace quorl
