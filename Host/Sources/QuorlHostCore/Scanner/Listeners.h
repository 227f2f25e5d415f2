// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <QuorlHostCore/Ports/ListeningSockets.h>

namespace quorl {

/// A port that accepts connections from this machine.
struct Listener {
  std::uint16_t port = 0;
  std::string processName;
  std::int32_t pid = 0;
  bool loopbackOnly = false;
  std::uint64_t identity = 0;  // as in `ListeningSocket`

  bool operator==(const Listener&) const = default;
};

/// One listener a port, by ascending port. The first socket on all addresses represents its port, else the
/// last one on the loopback. Sockets bound to one other address are left out.
std::vector<Listener> listenersByPort(const std::vector<ListeningSocket>& sockets);

}  // namespace quorl
