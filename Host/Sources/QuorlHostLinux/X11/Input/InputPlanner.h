// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <vector>

#include <QuorlHostCore/Ports/EventPoster.h>
#include <QuorlHostLinux/X11/Input/ScrollAccumulator.h>

namespace quorl {

/// One thing that a device can do.
struct InputAction {
  enum class Kind : std::uint8_t { motion, button, key, capsLock };
  Kind kind = Kind::motion;
  bool down = false;       // for capsLock: on
  std::uint16_t code = 0;  // X button number, or key code of the wire
  int x = 0;               // motion: from the corner of the main display
  int y = 0;

  bool operator==(const InputAction&) const = default;
};

/// Decides what devices do for a synthetic event. X events have no modifier flags of their own: what an
/// event's flags say must be held as keys around it.
///
/// The flags of each event are the truth. A modifier that only flags ask for is pressed when something
/// happens under it (a key or button going down, a scroll), not for mere motion, and is let go of once no key
/// and no button is held any more; one that came as a key of its own stays until its own release or until an
/// event's flags lack it.
///
/// *Queue*: pure; one thread at a time.
class InputPlanner {
 public:
  std::vector<InputAction> plan(const MouseEvent& event);
  std::vector<InputAction> plan(const ScrollEvent& event);
  /// For key events without text.
  std::vector<InputAction> plan(const KeyboardEvent& event);

  /// Lets go of everything that is held.
  std::vector<InputAction> releaseAll();

  /// The modifier keys that are down now.
  std::vector<std::uint16_t> heldModifierKeys() const;

 private:
  enum class Pressing : std::uint8_t { allowed, forbidden };
  using Actions = std::vector<InputAction>;

  void move(Actions& actions, PointXY location) const;
  void syncModifiers(Actions& actions, std::uint64_t flags, Pressing pressing, std::uint64_t except = 0);
  void releaseModifiers(Actions& actions, std::uint64_t flag);
  void letGoWhenIdle(Actions& actions);
  void syncCapsLock(Actions& actions, std::uint64_t flags);
  void planModifierKey(Actions& actions, const KeyboardEvent& event, std::uint64_t flag);
  void planCapsLockKey(Actions& actions, const KeyboardEvent& event);
  int stepsOf(const ScrollEvent& event, bool isVertical);

  // Wheel steps of this many points: what common toolkits scroll for one is about twice that, but they
  // accelerate nothing.
  static constexpr double pointsPerStep = 30;
  // A pinch is told as 60 for doubling the size; six steps of a usual zoom come near to that.
  static constexpr double zoomPerStep = 10;

  std::set<std::uint16_t> buttons_;   // X button numbers
  std::set<std::uint16_t> keys_;      // other than modifiers
  std::set<std::uint16_t> ownKeys_;   // modifiers that came as keys
  std::set<std::uint16_t> flagKeys_;  // modifiers pressed for flags
  bool isCapsLockOn_ = false;         // by us, for flags
  ScrollAccumulator vertical_{pointsPerStep};
  ScrollAccumulator horizontal_{pointsPerStep};
  ScrollAccumulator zoom_{zoomPerStep};
};

}  // namespace quorl
