// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>

namespace quorl {

/// What logind tells about the machine's seats, as far as it decides who holds the console.
struct ConsoleFacts {
  /// The session that a seat shows at the moment.
  struct ActiveSession {
    std::string user;
    std::string sessionClass;  // "user", "greeter", "lock-screen", ... (sd-login(3))
  };

  std::string ownUser;
  bool ownSessionHasSeat = false;
  std::optional<ActiveSession> activeOnOwnSeat;
};

/// Where the host's own login session sits on a seat, the console is held by the user of that seat's active
/// session: by nobody while there is none or a greeter asks for a name. A host without a seat (ssh, a virtual
/// display, a container, no login manager) holds its own console, because nobody else can.
std::optional<std::string> consoleUserFor(const ConsoleFacts& facts);

}  // namespace quorl
