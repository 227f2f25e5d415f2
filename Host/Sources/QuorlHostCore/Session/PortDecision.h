// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace quorl {

/// What decides about the session port, which is global to the machine while hosts are one per user.
struct PortSituation {
  bool portHandoff = false;
  bool hasListener = false;
  std::optional<std::string> consoleUser;
  std::string ownUser;
};

enum class PortDecision : std::uint8_t { leave, bind, release };

/// With handoff the port belongs to the user at the console; nobody there counts as somebody else.
inline PortDecision decidePort(const PortSituation& situation) {
  const bool mayOwn = !situation.portHandoff || situation.consoleUser == situation.ownUser;
  if (mayOwn) return situation.hasListener ? PortDecision::leave : PortDecision::bind;
  return situation.hasListener ? PortDecision::release : PortDecision::leave;
}

}  // namespace quorl
