// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <set>
#include <span>
#include <vector>

#include <QuorlHostLinux/X11/Connection/X11Connection.h>
#include <QuorlHostLinux/X11/Connection/XkbRequests.h>
#include <QuorlHostLinux/X11/Input/FocusProbe.h>
#include <QuorlHostLinux/X11/Input/Keyboard.h>
#include <QuorlHostLinux/X11/Input/SpareKeys.h>

namespace quorl {

/// Types any characters: those of the active layout by their keys, others by spare keycodes. Spare keycodes
/// are bound in bulk, many in one change of the map, because window managers spend tens of milliseconds on
/// every change.
///
/// *Queue*: one thread at a time. Waits for replies of the server, never for time to pass.
/// *Lifetime*: ends before its connection; destruction clears the spare keycodes.
class TextTyper {
 public:
  explicit TextTyper(X11Connection& connection);
  ~TextTyper();
  TextTyper(const TextTyper&) = delete;
  TextTyper& operator=(const TextTyper&) = delete;

  /// The keycodes that are spare except for symbols bound by this host or by an earlier one that was killed.
  std::set<std::uint8_t> ownKeycodes() const;
  /// Takes a new map. Called before any text.
  void setKeyboard(const Keyboard& keyboard);

  /// Takes an event of the server.
  void take(const void* event) { probe_.take(event); }

  struct Ready {
    std::size_t count = 0;   // of keysyms that can be typed now
    SpareKeys::Time next{};  // the time to ask again when none can
    bool changedMap = false;
  };
  /// Prepares the keysyms at the start of `keysyms`, which is not empty. If the map has to change, the rest
  /// of `keysyms` and the following ones get places in the same step, as far as they fit.
  Ready makeReady(std::span<const std::uint32_t> keysyms, std::span<const std::uint32_t> following,
                  const Keyboard& keyboard, std::uint8_t group);

  /// Types prepared keysyms with Caps Lock and all modifiers up, and restores the state.
  void type(std::span<const std::uint32_t> keysyms, const Keyboard& keyboard, const XkbState& state);

 private:
  bool isReady(std::uint32_t keysym, const Keyboard& keyboard, std::uint8_t group) const;
  std::vector<std::uint32_t> nextStep(std::span<const std::uint32_t> keysyms,
                                      std::span<const std::uint32_t> following, const Keyboard& keyboard,
                                      std::uint8_t group) const;
  void claimSpares();
  void press(const KeyStroke& stroke, const Keyboard& keyboard);
  void hold(bool shift, const Keyboard& keyboard);

  X11Connection& connection_;
  SpareKeys spares_;
  FocusProbe probe_;
  bool isUnasked_ = false;             // keys were sent after the last ping
  std::set<std::uint8_t> leftBehind_;  // by a host that was killed
  bool isClaimed_ = false;
  bool isShiftHeld_ = false;
};

}  // namespace quorl
