// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include <QuorlHostCore/Scanner/Listeners.h>
#include <QuorlHostCore/Scanner/ServiceProbe.h>

namespace quorl {

/// The sockets that are asked seldom because their program has another protocol. A request to such a program
/// is noise: many log an error or an attack for each, every 20 seconds.
///
/// One answer in another protocol settles a socket. A connection that is closed without an answer may also
/// come from a web server that is starting, or from a forwarder whose server is down, so it takes
/// `closesToSettle` of them in succession. Silence settles nothing. A socket without an identity is never
/// settled. A settled socket is asked again after a number of scans, and one answer settles it again.
///
/// *Queue*: the owner's; a value.
class SettledSockets {
 public:
  static constexpr int closesToSettle = 3;
  /// Scans that are left out: five minutes, and an hour.
  static constexpr int restAfterCloses = 15;
  static constexpr int restAfterProtocol = 180;

  bool contains(const Listener& listener) const;
  void record(const Listener& listener, ProbeResult::Answer answer);
  /// Begins a scan of these. Forgets all others.
  void begin(const std::vector<Listener>& listeners);

 private:
  struct Socket {
    int closes = 0;  // in succession
    int rest = 0;    // scans
  };
  std::map<std::uint64_t, Socket> sockets_;  // by identity
};

}  // namespace quorl
