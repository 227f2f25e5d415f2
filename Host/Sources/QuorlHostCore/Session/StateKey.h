// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <compare>
#include <cstddef>
#include <optional>

#include <QuorlKit/Foundation/UUID.h>
#include <QuorlKit/Protocol/ControlMessage.h>

namespace quorl {

/// What a message that says how things are now is about. Of two messages with the same key the newer one
/// makes the older one worthless.
struct StateKey {
  std::size_t messageCase = 0;  // its place in `ControlMessage`
  std::size_t eventCase = 0;    // of an agent's event
  UUID agent;                   // of an agent's event

  auto operator<=>(const StateKey&) const = default;
};

/// Nothing for messages that each count.
std::optional<StateKey> stateKeyOf(const ControlMessage& message);

bool isAgentEvent(const StateKey& key);

}  // namespace quorl
