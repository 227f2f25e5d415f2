// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Scanner/Listeners.h>

#include <map>
#include <ranges>

namespace quorl {

std::vector<Listener> listenersByPort(const std::vector<ListeningSocket>& sockets) {
  std::map<std::uint16_t, Listener> byPort;
  for (const ListeningSocket& socket : sockets) {
    if (socket.reach == ListeningSocket::Reach::oneAddress) continue;
    const auto known = byPort.find(socket.port);
    if (known != byPort.end() && !known->second.loopbackOnly) continue;
    byPort[socket.port] = {.port = socket.port,
                           .processName = socket.processName,
                           .pid = socket.pid,
                           .loopbackOnly = socket.reach == ListeningSocket::Reach::loopback,
                           .identity = socket.identity};
  }
  const auto values = byPort | std::views::values;
  return {values.begin(), values.end()};
}

}  // namespace quorl
