// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <functional>
#include <set>
#include <span>
#include <string_view>

#include <QuorlHostLinux/X11/Keyboard.h>
#include <QuorlHostLinux/X11/SpareKeys.h>
#include <QuorlHostLinux/X11/X11Connection.h>

namespace quorl {

/// Types texts of any characters: those of the active layout by their own keys, others by spare keycodes that
/// get their symbols in bulk, one change of the map for many of them (window managers answer every change
/// with tens of milliseconds of work).
///
/// *Queue*: one thread at a time.
/// *Lifetime*: ends before its connection; destruction makes the spare keycodes blank again.
class TextTyper {
 public:
  explicit TextTyper(X11Connection& connection);
  ~TextTyper();
  TextTyper(const TextTyper&) = delete;
  TextTyper& operator=(const TextTyper&) = delete;

  /// The keycodes that are spare but for what was bound to them, by us or by one before us that was killed.
  std::set<std::uint8_t> ownKeycodes() const;
  /// Takes over a new map; before any text.
  void setKeyboard(const Keyboard& keyboard);

  /// Types while Caps Lock and all modifiers are up.
  void type(std::u16string_view text, const Keyboard& keyboard, std::uint8_t group);

 private:
  void typeRound(std::span<const std::uint32_t> keysyms, const std::set<std::uint32_t>& foreign,
                 const Keyboard& keyboard, std::uint8_t group);
  void claimSpares();
  void waitUntil(SpareKeys::Time time);
  void press(std::uint8_t keycode);
  void hold(bool shift, const Keyboard& keyboard);

  X11Connection& connection_;
  SpareKeys spares_;
  std::set<std::uint8_t> leftBehind_;  // by a run that could not clean up
  bool isClaimed_ = false;
  bool isShiftHeld_ = false;
};

}  // namespace quorl
