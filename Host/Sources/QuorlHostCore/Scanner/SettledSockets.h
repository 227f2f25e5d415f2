// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include <QuorlHostCore/Scanner/Listeners.h>
#include <QuorlHostCore/Scanner/ServiceProbe.h>

namespace quorl {

/// The sockets that need no further request because their program has another protocol. A request to such a
/// program is noise: many log an error or an attack for each, every 20 seconds.
///
/// One answer in another protocol settles a socket. A connection that is closed without a byte may also come
/// from a web server that is starting, so it takes `closesToSettle` of them in succession. Silence settles
/// nothing. A socket without an identity is never settled.
///
/// *Queue*: the owner's; a value.
class SettledSockets {
 public:
  static constexpr int closesToSettle = 3;

  bool contains(const Listener& listener) const;
  void record(const Listener& listener, ProbeResult::Answer answer);
  /// Forgets all others.
  void retain(const std::vector<Listener>& listeners);

 private:
  std::map<std::uint64_t, int> closes_;  // by identity, in succession
};

}  // namespace quorl
