// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <QuorlKit/Protocol/InputEvents.h>

namespace quorl::client {

/// A key to press, with modifiers held.
struct KeyPress {
  std::uint16_t keyCode = 0;
  WireModifiers modifiers;

  bool operator==(const KeyPress&) const = default;
};

/// "return", "a+command", "shift+command+4", "36", "0x7e". Names and modifiers in any order and case, with
/// exactly one key that is not a modifier; a single modifier is itself the key. One digit is the key of that
/// digit; a key code has two digits or more, or is hexadecimal. Nothing for anything else.
std::optional<KeyPress> parseKeyPress(std::string_view text);

/// The events of pressing and releasing it. Modifier keys go down before it and up after it, and each event
/// carries the modifiers held at that time.
std::vector<inputEvent::Key> keyEvents(const KeyPress& press);

/// All names, as lines for the help.
const std::string& keyNameHelp();

}  // namespace quorl::client
