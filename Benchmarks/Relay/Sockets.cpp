// SPDX-License-Identifier: GPL-3.0-or-later
#include "Sockets.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <fcntl.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace quorl::bench {

namespace {

sockaddr_in loopback(std::uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

}  // namespace

int connectTo(std::uint16_t port, Mode mode) {
  const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const sockaddr_in address = loopback(port);
  if (::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
    throw std::system_error(errno, std::generic_category(), "connect");
  const int on = 1;
  ::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  if (mode == Mode::nonBlocking) ::fcntl(socket, F_SETFL, O_NONBLOCK);
  return socket;
}

int listenOn(std::uint16_t port) {
  const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  const int on = 1;
  ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  const sockaddr_in address = loopback(port);
  if (::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
      ::listen(socket, 4096) != 0)
    throw std::system_error(errno, std::generic_category(), "listen");
  return socket;
}

}  // namespace quorl::bench
