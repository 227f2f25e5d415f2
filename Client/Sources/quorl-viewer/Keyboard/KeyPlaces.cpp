// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Keyboard/KeyPlaces.h>

#include <algorithm>
#include <array>

#include <QuorlKit/Protocol/KeyCodes.h>

namespace quorl::viewer {
namespace {

// Scan codes: linux/input-event-codes.h.
struct Range {
  std::uint16_t first;
  std::uint16_t last;
};

constexpr std::array characterKeys{
    Range{2, 13},     // 1 to =
    Range{16, 27},    // Q to ]
    Range{30, 41},    // A to '
    Range{43, 53},    // backslash to slash
    Range{55, 55},    // keypad *
    Range{57, 57},    // space
    Range{71, 83},    // keypad 7 to the decimal key
    Range{86, 86},    // the key between Shift and Z
    Range{89, 89},    // Japanese backslash
    Range{95, 95},    // Japanese keypad comma
    Range{98, 98},    // keypad /
    Range{117, 117},  // keypad =
    Range{121, 121},  // keypad comma
    Range{124, 124},  // yen
};

struct KeypadKey {
  std::uint16_t scanCode;
  std::uint16_t cursorKey;  // of the wire
};

constexpr std::uint16_t leftShiftScanCode = 42;
constexpr std::uint16_t rightShiftScanCode = 54;

constexpr std::array keypad{
    KeypadKey{71, keyCode::home},
    KeypadKey{72, keyCode::upArrow},
    KeypadKey{73, 0x74},
    KeypadKey{75, keyCode::leftArrow},
    KeypadKey{77, keyCode::rightArrow},
    KeypadKey{79, keyCode::end},
    KeypadKey{80, keyCode::downArrow},
    KeypadKey{81, 0x79},
    KeypadKey{82, keyCode::insert},
    KeypadKey{83, keyCode::forwardDelete},
};
constexpr std::uint16_t keypadFive = 76;  // without Num Lock it does nothing in most programs

}  // namespace

bool isCharacterKey(std::uint16_t scanCode) {
  if (scanCode == leftShiftScanCode || scanCode == rightShiftScanCode) return false;
  return std::ranges::any_of(characterKeys, [scanCode](const Range& range) {
    return scanCode >= range.first && scanCode <= range.last;
  });
}

std::optional<std::uint16_t> wireKeyOf(std::uint16_t scanCode, const LockState& locks) {
  if (!locks.numLock) {
    if (scanCode == keypadFive) return std::nullopt;
    const auto* const found = std::ranges::find(keypad, scanCode, &KeypadKey::scanCode);
    if (found != keypad.end()) return found->cursorKey;
  }
  return keyCodeOfScanCode(scanCode);
}

std::optional<WireModifiers> modifierOfWireKey(std::uint16_t code) {
  switch (code) {
    case keyCode::shift:
    case keyCode::rightShift:
      return WireModifiers::shift;
    case keyCode::control:
    case keyCode::rightControl:
      return WireModifiers::control;
    case keyCode::option:
    case keyCode::rightOption:
      return WireModifiers::option;
    case keyCode::command:
    case keyCode::rightCommand:
      return WireModifiers::command;
    default:
      return std::nullopt;
  }
}

}  // namespace quorl::viewer
