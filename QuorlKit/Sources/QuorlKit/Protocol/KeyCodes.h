// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace quorl {

/// A key of the wire with its names elsewhere. All of them identify positions; symbols do not.
struct KeyCodeEntry {
  std::uint16_t code;        // the virtual key code of a Mac keyboard, or from `beyondMac` on
  std::uint16_t scanCode;    // of Linux (evdev), 8 less than X11's keycode; 0: another row has it
  std::string_view xkbName;  // of XKB
};

/// Codes from here on are keys that no Mac keyboard has: this plus the scan code.
inline constexpr std::uint16_t beyondMac = 0x100;

std::span<const KeyCodeEntry> keyCodeTable();
std::optional<std::uint16_t> keyCodeOfScanCode(std::uint16_t scanCode);
std::optional<std::string_view> xkbKeyName(std::uint16_t code);

/// Digits and the decimal key of the keypad. The Mac has no Num Lock: they always type these characters.
bool isKeypadCharacter(std::uint16_t code);

namespace keyCode {
inline constexpr std::uint16_t rightCommand = 0x36;
inline constexpr std::uint16_t command = 0x37;
inline constexpr std::uint16_t shift = 0x38;
inline constexpr std::uint16_t capsLock = 0x39;
inline constexpr std::uint16_t option = 0x3A;
inline constexpr std::uint16_t control = 0x3B;
inline constexpr std::uint16_t rightShift = 0x3C;
inline constexpr std::uint16_t rightOption = 0x3D;
inline constexpr std::uint16_t rightControl = 0x3E;
inline constexpr std::uint16_t returnKey = 0x24;
inline constexpr std::uint16_t tab = 0x30;
inline constexpr std::uint16_t backspace = 0x33;
inline constexpr std::uint16_t escape = 0x35;
inline constexpr std::uint16_t forwardDelete = 0x75;
inline constexpr std::uint16_t letterV = 0x09;
inline constexpr std::uint16_t insert = 0x72;  // Help on a Mac
inline constexpr std::uint16_t home = 0x73;
inline constexpr std::uint16_t end = 0x77;
inline constexpr std::uint16_t leftArrow = 0x7B;
inline constexpr std::uint16_t rightArrow = 0x7C;
inline constexpr std::uint16_t downArrow = 0x7D;
inline constexpr std::uint16_t upArrow = 0x7E;
}  // namespace keyCode

}  // namespace quorl
