// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>

namespace quorl {

/// The facts of logind that decide which user holds the console.
struct ConsoleFacts {
  /// The active session of a seat.
  struct ActiveSession {
    std::string user;
    std::string sessionClass;  // "user", "greeter", "lock-screen", ... (sd-login(3))
  };

  std::string ownUser;
  bool ownSessionHasSeat = false;
  std::optional<ActiveSession> activeOnOwnSeat;
};

/// If the host's login session is on a seat, the user of that seat's active session holds the console, or no
/// user while there is none or a greeter is shown. Without a seat (ssh, a virtual display, a container, no
/// login manager), the host's user holds the console, because no other user can.
std::optional<std::string> consoleUserFor(const ConsoleFacts& facts);

}  // namespace quorl
