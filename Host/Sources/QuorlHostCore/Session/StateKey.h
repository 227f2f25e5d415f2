// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <compare>
#include <cstddef>
#include <optional>

#include <QuorlKit/Foundation/UUID.h>
#include <QuorlKit/Protocol/ControlMessage.h>

namespace quorl {

/// The subject of a message that carries state. Of two messages with the same key the newer replaces the
/// older.
struct StateKey {
  std::size_t messageCase = 0;  // its index in `ControlMessage`
  std::size_t eventCase = 0;    // of an agent's event
  UUID agent;                   // of an agent's event

  auto operator<=>(const StateKey&) const = default;
};

/// Nothing for messages that must all be delivered.
std::optional<StateKey> stateKeyOf(const ControlMessage& message);

bool isAgentEvent(const StateKey& key);

}  // namespace quorl
