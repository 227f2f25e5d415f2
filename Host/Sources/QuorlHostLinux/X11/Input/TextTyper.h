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

/// Types texts of any characters: those of the active layout by their own keys, others by spare keycodes that
/// get their symbols in bulk, one change of the map for many of them (window managers answer every change
/// with tens of milliseconds of work).
///
/// *Queue*: one thread at a time. Waits for the server's answers, never for time to pass.
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

  /// Notes an event of the server.
  void take(const void* event) { probe_.take(event); }

  struct Ready {
    std::size_t count = 0;   // of keysyms that can be typed now
    SpareKeys::Time next{};  // when none can: the time to ask again
    bool changedMap = false;
  };
  /// Makes ready for the keysyms at the start of `keysyms`, of which there is at least one. When the map has
  /// to change for that, as many of the others as one step takes get their places too: the rest of `keysyms`
  /// and what comes next.
  Ready makeReady(std::span<const std::uint32_t> keysyms, std::span<const std::uint32_t> following,
                  const Keyboard& keyboard, std::uint8_t group);

  /// Types keysyms that are ready, while Caps Lock and all modifiers are up, and leaves the state as it was.
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
  bool isUnasked_ = false;             // keys were sent since the probe asked
  std::set<std::uint8_t> leftBehind_;  // by a run that could not clean up
  bool isClaimed_ = false;
  bool isShiftHeld_ = false;
};

}  // namespace quorl
