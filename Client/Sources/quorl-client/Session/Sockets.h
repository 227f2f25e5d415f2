// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>

#include <QuorlUnix/Descriptor.h>
#include <quorl-client/Base/Waiter.h>
#include <quorl-client/Session/HostAddress.h>

namespace quorl::client {

/// A connected, non-blocking TCP socket with TCP_NODELAY. The addresses of a name are tried in turn, each
/// with its share of the remaining time. Fails with `unreachable` for every network error.
Outcome<Descriptor> connectTCP(const HostAddress& address, Waiter& waiter, Deadline deadline);

/// A socket for datagrams from the host at the other end of `session`.
struct DatagramSocket {
  Descriptor descriptor;
  std::uint16_t port = 0;  // ours, for the host to send to
};
Outcome<DatagramSocket> openDatagramSocket(int session);

/// Reads datagrams and drops those from another address than the session's host.
class DatagramReader {
 public:
  DatagramReader(int datagrams, int session);
  /// The next datagram, or null if none is waiting. The bytes are valid until the next call.
  const std::uint8_t* next(std::size_t& size);

 private:
  int descriptor_ = -1;
  // The host's address as the socket reports it: family and address bytes.
  std::array<std::uint8_t, 16> peer_{};
  std::size_t peerSize_ = 0;
  std::array<std::uint8_t, 2048> buffer_{};
};

}  // namespace quorl::client
