// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace quorl {

/// The facts that decide about the session port, which is global to the machine while each user has a host.
struct PortSituation {
  bool portHandoff = false;
  bool hasListener = false;
  std::optional<std::string> consoleUser;
  std::string ownUser;
};

enum class PortDecision : std::uint8_t { leave, bind, release };

/// With handoff the port belongs to the console user. A console without a user belongs to no host.
inline PortDecision decidePort(const PortSituation& situation) {
  const bool mayOwn = !situation.portHandoff || situation.consoleUser == situation.ownUser;
  if (mayOwn) return situation.hasListener ? PortDecision::leave : PortDecision::bind;
  return situation.hasListener ? PortDecision::release : PortDecision::leave;
}

}  // namespace quorl
