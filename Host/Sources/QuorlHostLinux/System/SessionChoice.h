// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace quorl {

/// What decides which of a user's sessions gets the console.
struct SwitchCandidate {
  std::string id;
  std::string seat;          // empty: cannot get a console
  std::string sessionClass;  // sd-login(3), as the others
  std::string type;
  std::string state;
};

/// The session to activate: a user's, on a seat, not about to end; a graphical one before a text one.
std::optional<std::string> sessionToActivate(const std::vector<SwitchCandidate>& candidates);

}  // namespace quorl
