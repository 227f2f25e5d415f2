// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostPosix/SocketConnect.h>

#include <cerrno>
#include <cstring>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <QuorlHostPosix/SocketAddress.h>
#include <QuorlHostPosix/SocketOptions.h>
#include <QuorlHostPosix/SystemError.h>

namespace quorl {

namespace {

bool isLoopback(const SocketAddress& address) {
  if (address.storage.ss_family == AF_INET) {
    sockaddr_in four{};
    std::memcpy(&four, &address.storage, sizeof four);
    return ntohl(four.sin_addr.s_addr) >> 24 == IN_LOOPBACKNET;
  }
  sockaddr_in6 six{};
  std::memcpy(&six, &address.storage, sizeof six);
  return IN6_IS_ADDR_LOOPBACK(&six.sin6_addr);
}

std::optional<SocketAddress> addressOf(int descriptor, int (*read)(int, sockaddr*, socklen_t*)) {
  SocketAddress address;
  address.size = sizeof address.storage;
  if (read(descriptor, reinterpret_cast<sockaddr*>(&address.storage), &address.size) != 0)
    return std::nullopt;
  return address;
}

// The kernel may choose the peer's port as this end's port. Without a listener the socket then connects to
// itself (simultaneous open, RFC 9293, section 3.5).
bool isConnectedToItself(int descriptor, const SocketAddress& peer) {
  const auto own = addressOf(descriptor, ::getsockname);
  return own && own->size == peer.size && std::memcmp(&own->storage, &peer.storage, peer.size) == 0;
}

}  // namespace

std::expected<ConnectAttempt, PortError> beginConnecting(const HostPort& peer) {
  const auto address = socketAddressFor(peer, NameLookup::numericOnly);
  if (!address) return std::unexpected(systemError(EINVAL));
  ConnectAttempt attempt;
  attempt.socket = Descriptor(
      ::socket(address->storage.ss_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, IPPROTO_TCP));
  if (!attempt.socket.isOpen()) return std::unexpected(systemError(errno));
  const int descriptor = attempt.socket.get();
  // A peer on this machine cannot vanish without a reset, so it needs no keep-alive.
  if (isLoopback(*address))
    setSocketOption(descriptor, IPPROTO_TCP, TCP_NODELAY, 1);
  else
    configureSessionSocket(descriptor);
  int result = ::connect(descriptor, address->get(), address->size);
  // On the loopback interface the answer has already arrived. The second call returns it, which saves a wait.
  if (result != 0 && errno == EINPROGRESS) result = ::connect(descriptor, address->get(), address->size);
  if (result == 0 || errno == EISCONN) {
    attempt.stage = ConnectAttempt::Stage::established;
    if (isConnectedToItself(descriptor, *address)) return std::unexpected(systemError(ECONNREFUSED));
  } else if (errno != EALREADY && errno != EINPROGRESS && errno != EINTR) {
    return std::unexpected(systemError(errno));
  }
  return attempt;
}

std::optional<PortError> connectFailure(int descriptor) {
  int error = 0;
  socklen_t size = sizeof error;
  if (::getsockopt(descriptor, SOL_SOCKET, SO_ERROR, &error, &size) != 0) error = errno;
  const auto peer = error == 0 ? addressOf(descriptor, ::getpeername) : std::nullopt;
  if (peer && isConnectedToItself(descriptor, *peer)) error = ECONNREFUSED;
  if (error == 0) return std::nullopt;
  return systemError(error);
}

}  // namespace quorl
