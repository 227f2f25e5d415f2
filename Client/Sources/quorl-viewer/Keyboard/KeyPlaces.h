// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>

#include <QuorlKit/Protocol/InputEvents.h>

#include <quorl-viewer/Keyboard/KeyInput.h>

/// Facts about keys by their scan codes. Pure functions, any thread.
namespace quorl::viewer {

namespace scanCode {
inline constexpr std::uint16_t space = 57;
inline constexpr std::uint16_t capsLock = 58;
inline constexpr std::uint16_t numLock = 69;
}  // namespace scanCode

/// True for keys that type characters in some layout: letters, digits, signs, the keypad. Not Return, Tab and
/// Backspace.
bool isCharacterKey(std::uint16_t scanCode);

/// The code of the wire. A key of the keypad is a cursor key without Num Lock, because the host's keypad has
/// digits only. Nothing for a key that the wire lacks.
std::optional<std::uint16_t> wireKeyOf(std::uint16_t scanCode, const LockState& locks);

/// The modifier that a key of the wire is. Nothing for others; Caps Lock is none.
std::optional<WireModifiers> modifierOfWireKey(std::uint16_t keyCode);

}  // namespace quorl::viewer
