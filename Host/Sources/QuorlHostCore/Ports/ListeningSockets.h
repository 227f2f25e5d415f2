// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <expected>
#include <string>
#include <vector>

#include <QuorlHostCore/Ports/PortError.h>

namespace quorl {

/// A TCP socket that accepts connections.
struct ListeningSocket {
  /// The local addresses it is bound to. An IPv4 address mapped into IPv6 counts as IPv4.
  enum class Reach : std::uint8_t {
    loopback,    // 127.0.0.1 or ::1
    everywhere,  // 0.0.0.0 or ::
    oneAddress,  // any other single address
  };

  std::uint16_t port = 0;
  std::string processName;  // valid UTF-8; of a process that cannot be read, the name of the socket's user
  std::int32_t pid = 0;     // 0 if the process cannot be read
  Reach reach = Reach::oneAddress;
  std::uint64_t identity = 0;  // of this socket as opposed to a later one on the port; 0 if unknown

  bool operator==(const ListeningSocket&) const = default;
};

/// The machine's listening TCP sockets.
///
/// *Queue*: any thread, one call at a time. There are no callbacks.
/// *Blocking*: `list` may take long; callers use `Scheduler::blocking`.
/// *Ownership*: returns copies.
/// *Lifetime*: no work is pending between calls.
class ListeningSockets {
 public:
  virtual ~ListeningSockets() = default;
  /// In the system's order; a port may occur several times. The error's description names what failed, as in
  /// "lsof failed: No such file or directory".
  virtual std::expected<std::vector<ListeningSocket>, PortError> list() = 0;
};

}  // namespace quorl
