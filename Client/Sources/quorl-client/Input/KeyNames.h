// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <QuorlKit/Protocol/InputEvents.h>

namespace quorl::client {

// A key to press, with modifiers held.
struct KeyPress {
  std::uint16_t keyCode = 0;
  WireModifiers modifiers;

  bool operator==(const KeyPress&) const = default;
};

// "return", "a+command", "shift+command+4", "36", "0x7e". Names and modifiers may come in any order and case;
// exactly one is no modifier, or the only one is (then it is the key). One digit is the digit's key; a code
// is written with two digits or more, or in hexadecimal. Nothing for anything else.
std::optional<KeyPress> parseKeyPress(std::string_view text);

// The events of pressing and releasing it: modifiers go down as keys before it and up after it, and every
// event carries the modifiers held at that time.
std::vector<inputEvent::Key> keyEvents(const KeyPress& press);

// For the help: all names, in lines.
const std::string& keyNameHelp();

}  // namespace quorl::client
