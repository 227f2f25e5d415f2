// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/System/ConsoleUser.h>

namespace quorl {

std::optional<std::string> consoleUserFor(const ConsoleFacts& facts) {
  if (!facts.ownSessionHasSeat) return facts.ownUser;
  const auto& active = facts.activeOnOwnSeat;
  if (!active || active->user.empty() || active->sessionClass == "greeter") return std::nullopt;
  return active->user;
}

}  // namespace quorl
