// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/System/SessionChoice.h>

#include <algorithm>

#include <QuorlHostLinux/System/Login1.h>

namespace quorl {

std::optional<std::string> sessionToActivate(const std::vector<SwitchCandidate>& candidates) {
  const auto isPossible = [](const SwitchCandidate& session) {
    return !session.seat.empty() && login1::isOfAUser(session.sessionClass) && session.state != "closing";
  };
  const auto isGraphical = [&](const SwitchCandidate& session) {
    return isPossible(session) && session.type != "tty" && session.type != "unspecified";
  };
  auto found = std::ranges::find_if(candidates, isGraphical);
  if (found == candidates.end()) found = std::ranges::find_if(candidates, isPossible);
  if (found == candidates.end()) return std::nullopt;
  return found->id;
}

}  // namespace quorl
