// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <vector>

#include <QuorlHostCore/Ports/EventPoster.h>
#include <QuorlHostLinux/X11/Input/ScrollAccumulator.h>
#include <QuorlHostLinux/X11/Input/Shortcuts.h>

namespace quorl {

/// One action of a device.
struct InputAction {
  enum class Kind : std::uint8_t { motion, button, key, capsLock };
  Kind kind = Kind::motion;
  bool down = false;       // for capsLock: on
  std::uint16_t code = 0;  // X button number, or key code of the wire
  int x = 0;               // motion: from the corner of the main display
  int y = 0;

  bool operator==(const InputAction&) const = default;
};

/// Decides the device actions for a synthetic event. X events carry no modifier flags of their own: the keys
/// of an event's flags must be held around it.
///
/// The flags of each event are authoritative. A modifier that appears only in flags is pressed for a key
/// press, a button press or a scroll, but not for motion, and is released when no key and no button is held.
/// A modifier that came as a key stays down until its release or until an event's flags lack it.
///
/// Command means another modifier beside a key, a button or the wheel (`shortcutFor`). Until then its key is
/// not pressed: the meaning is not known, and desktops open a menu when Super was pressed alone. A Command
/// key that is released unused taps Super. While it is held, the modifiers that it meant stay down.
///
/// `eventFlags::asPressed` in the flags ends all of this: the client has a PC keyboard, and Command is Super.
///
/// *Queue*: pure; one thread at a time.
class InputPlanner {
 public:
  std::vector<InputAction> plan(const MouseEvent& event);
  std::vector<InputAction> plan(const ScrollEvent& event);
  /// For key events without text.
  std::vector<InputAction> plan(const KeyboardEvent& event,
                                FocusedProgram program = FocusedProgram::ordinary);

  /// Whether `plan` needs the focused program for this event.
  static bool dependsOnProgram(const KeyboardEvent& event);

  /// Releases everything that is held.
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
  void pressKey(Actions& actions, const KeyboardEvent& event, FocusedProgram program);
  void planCommandKey(Actions& actions, const KeyboardEvent& event);
  void useCommand(std::uint64_t flags, std::uint64_t meant);
  std::uint64_t keptFlags(std::uint64_t flags);
  void planModifierKey(Actions& actions, const KeyboardEvent& event, std::uint64_t flag);
  void planCapsLockKey(Actions& actions, const KeyboardEvent& event);
  int stepsOf(const ScrollEvent& event, bool isVertical);

  // Points of one wheel step. Common toolkits scroll about twice as far for one, but do not accelerate.
  static constexpr double pointsPerStep = 30;
  // A pinch that doubles the size arrives as 60. Six steps of a usual zoom come close to that.
  static constexpr double zoomPerStep = 10;

  std::set<std::uint16_t> buttons_;              // X button numbers
  std::map<std::uint16_t, std::uint16_t> keys_;  // other than modifiers: the key that is down, by wire key
  std::set<std::uint16_t> ownKeys_;              // modifiers that came as keys
  std::set<std::uint16_t> flagKeys_;             // modifiers pressed for flags
  std::set<std::uint16_t> commandKeys_;          // Command keys that the client holds; never down themselves
  bool isCommandUsed_ = false;                   // since the first of them
  std::uint64_t standIns_ = 0;                   // flags that Command meant last
  bool isCapsLockOn_ = false;                    // by us, for flags
  ScrollAccumulator vertical_{pointsPerStep};
  ScrollAccumulator horizontal_{pointsPerStep};
  ScrollAccumulator zoom_{zoomPerStep};
};

}  // namespace quorl
