// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <expected>
#include <optional>

#include <sys/socket.h>

#include <QuorlHostCore/Ports/Network.h>
#include <QuorlUnix/Descriptor.h>

namespace quorl {

/// An address of either family, as the socket calls take it.
struct SocketAddress {
  sockaddr_storage storage{};
  socklen_t size = 0;

  const sockaddr* get() const { return reinterpret_cast<const sockaddr*>(&storage); }
};

/// The numeric host (an IPv4 address inside an IPv6 one is printed as IPv4, a link-local one keeps its zone)
/// and the port.
std::optional<HostPort> hostPortOf(const SocketAddress& address);

/// Takes a numeric address; `resolve` also asks the resolver for a name, which blocks.
enum class NameLookup : std::uint8_t { numericOnly, resolve };
std::optional<SocketAddress> socketAddressFor(const HostPort& peer, NameLookup lookup);

/// A listening socket on all addresses of both families, or of IPv4 alone where the machine has no IPv6.
/// The error tells whether a socket could not even be made (`made` false) or not be bound.
struct ListenError {
  PortError error;
  bool made = false;
};
std::expected<Descriptor, ListenError> listenOnAllAddresses(std::uint16_t port);

}  // namespace quorl
