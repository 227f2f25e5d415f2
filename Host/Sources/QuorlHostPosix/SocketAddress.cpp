// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostPosix/SocketAddress.h>

#include <cerrno>
#include <cstring>

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>

#include <QuorlHostPosix/SocketOptions.h>
#include <QuorlHostPosix/SystemError.h>

namespace quorl {

namespace {

constexpr int listenBacklog = 1024;

std::expected<Descriptor, ListenError> bindAndListen(Descriptor socket, const sockaddr* address,
                                                     socklen_t size) {
  setSocketOption(socket.get(), SOL_SOCKET, SO_REUSEADDR, 1);
  if (::bind(socket.get(), address, size) != 0 || ::listen(socket.get(), listenBacklog) != 0)
    return std::unexpected(ListenError{systemError(errno), true});
  return socket;
}

std::expected<Descriptor, ListenError> listenOnBothFamilies(std::uint16_t port) {
  Descriptor socket(::socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!socket.isOpen()) return std::unexpected(ListenError{systemError(errno), false});
  setSocketOption(socket.get(), IPPROTO_IPV6, IPV6_V6ONLY, 0);
  sockaddr_in6 address{};
  address.sin6_family = AF_INET6;
  address.sin6_addr = in6addr_any;
  address.sin6_port = htons(port);
  return bindAndListen(std::move(socket), reinterpret_cast<const sockaddr*>(&address), sizeof address);
}

std::expected<Descriptor, ListenError> listenOnIPv4(std::uint16_t port) {
  Descriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!socket.isOpen()) return std::unexpected(ListenError{systemError(errno), false});
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_ANY);
  address.sin_port = htons(port);
  return bindAndListen(std::move(socket), reinterpret_cast<const sockaddr*>(&address), sizeof address);
}

// The errors of bind and socket on a machine without IPv6 or with IPv6 disabled.
bool meansNoIPv6(const PortError& error) {
  return error.status == EAFNOSUPPORT || error.status == EADDRNOTAVAIL;
}

std::optional<SocketAddress> unmapped(const SocketAddress& address) {
  sockaddr_in6 six{};
  std::memcpy(&six, &address.storage, sizeof six);
  if (!IN6_IS_ADDR_V4MAPPED(&six.sin6_addr)) return std::nullopt;
  sockaddr_in four{};
  four.sin_family = AF_INET;
  four.sin_port = six.sin6_port;
  std::memcpy(&four.sin_addr, six.sin6_addr.s6_addr + 12, 4);
  SocketAddress result;
  std::memcpy(&result.storage, &four, sizeof four);
  result.size = sizeof four;
  return result;
}

}  // namespace

std::optional<HostPort> hostPortOf(const SocketAddress& address) {
  if (address.storage.ss_family == AF_INET6) {
    if (const auto four = unmapped(address)) return hostPortOf(*four);
  } else if (address.storage.ss_family != AF_INET) {
    return std::nullopt;
  }
  char host[NI_MAXHOST];
  char service[NI_MAXSERV];
  if (::getnameinfo(address.get(), address.size, host, sizeof host, service, sizeof service,
                    NI_NUMERICHOST | NI_NUMERICSERV) != 0)
    return std::nullopt;
  return HostPort{host, static_cast<std::uint16_t>(std::stoul(service))};
}

std::optional<SocketAddress> socketAddressFor(const HostPort& peer, NameLookup lookup) {
  addrinfo hints{};
  hints.ai_socktype = SOCK_DGRAM;
  hints.ai_flags = AI_NUMERICSERV | (lookup == NameLookup::numericOnly ? AI_NUMERICHOST : 0);
  addrinfo* found = nullptr;
  if (::getaddrinfo(peer.host.c_str(), std::to_string(peer.port).c_str(), &hints, &found) != 0)
    return std::nullopt;
  const std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> owner(found, ::freeaddrinfo);
  SocketAddress result;
  std::memcpy(&result.storage, found->ai_addr, found->ai_addrlen);
  result.size = found->ai_addrlen;
  return result;
}

std::expected<Descriptor, ListenError> listenOnAllAddresses(std::uint16_t port) {
  auto both = listenOnBothFamilies(port);
  if (both || !meansNoIPv6(both.error().error)) return both;
  return listenOnIPv4(port);
}

}  // namespace quorl
