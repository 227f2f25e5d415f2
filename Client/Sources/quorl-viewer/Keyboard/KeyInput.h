// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include <QuorlKit/Protocol/InputEvents.h>

namespace quorl::viewer {

/// What the viewer does with keys.
enum class KeyboardMode : std::uint8_t {
  keys,  // sends positions; the host's layout makes the characters. No input method.
  text,  // sends the characters that this computer's layout and input method make
};

struct LockState {
  bool capsLock = false;
  bool numLock = false;

  bool operator==(const LockState&) const = default;
};

/// A key event of the window.
struct KeyInput {
  std::uint16_t scanCode = 0;  // of Linux (evdev): 8 less than X11's keycode and Qt's nativeScanCode
  std::string text;            // what the key types by this computer's layout, UTF-8; may be empty
  WireModifiers modifiers;     // held before the event, as the window system sees them
  LockState locks;             // before the event
  bool isLevelKey = false;     // chooses a level of the layout, such as AltGr
  bool isRepeat = false;
};

/// Text that the host types.
struct TypedText {
  std::string text;

  bool operator==(const TypedText&) const = default;
};

using KeyboardAction = std::variant<inputEvent::Key, TypedText>;
using KeyboardActions = std::vector<KeyboardAction>;

}  // namespace quorl::viewer
