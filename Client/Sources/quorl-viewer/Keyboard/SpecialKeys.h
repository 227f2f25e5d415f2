// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include <QuorlKit/Protocol/InputEvents.h>

namespace quorl::viewer {

/// An entry of the menu of special keys: keys that this computer would keep for itself.
struct SpecialKey {
  std::string_view name;            // as the menu shows it
  std::vector<std::uint16_t> keys;  // of the wire, in the order in which they go down
};

/// In the order of the menu. *Queue*: any.
std::span<const SpecialKey> specialKeys();
/// Nothing for an unknown name.
const SpecialKey* findSpecialKey(std::string_view name);

/// The keys go down one after another and up in reverse. `releaseAll` of the keyboard comes first.
std::vector<inputEvent::Key> eventsOf(const SpecialKey& special);

}  // namespace quorl::viewer
