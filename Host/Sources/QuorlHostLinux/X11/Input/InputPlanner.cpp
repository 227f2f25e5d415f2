// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Input/InputPlanner.h>

#include <algorithm>
#include <array>
#include <cmath>

#include <QuorlKit/Protocol/KeyCodes.h>

namespace quorl {

namespace {

struct Modifier {
  std::uint64_t flag;
  std::uint16_t left;
  std::uint16_t right;

  bool has(std::uint16_t code) const { return code == left || code == right; }
};

constexpr std::array modifiers{
    Modifier{eventFlags::shift, keyCode::shift, keyCode::rightShift},
    Modifier{eventFlags::control, keyCode::control, keyCode::rightControl},
    Modifier{eventFlags::option, keyCode::option, keyCode::rightOption},
    Modifier{eventFlags::command, keyCode::command, keyCode::rightCommand},
};

bool isCommandKey(std::uint16_t code) {
  return code == keyCode::command || code == keyCode::rightCommand;
}

// Buttons of the X protocol's core pointer; 4 to 7 are the wheel, by convention.
constexpr std::uint16_t leftButton = 1;
constexpr std::uint16_t middleButton = 2;
constexpr std::uint16_t rightButton = 3;
constexpr std::uint16_t wheelUp = 4;
constexpr std::uint16_t wheelDown = 5;
constexpr std::uint16_t wheelLeft = 6;
constexpr std::uint16_t wheelRight = 7;

InputAction button(std::uint16_t number, bool down) {
  return {.kind = InputAction::Kind::button, .down = down, .code = number};
}
InputAction key(std::uint16_t code, bool down) {
  return {.kind = InputAction::Kind::key, .down = down, .code = code};
}
InputAction capsLock(bool on) {
  return {.kind = InputAction::Kind::capsLock, .down = on};
}

enum class Change : std::uint8_t { none, down, up, drag };

struct ButtonChange {
  Change change;
  std::uint16_t button;
};

ButtonChange changeOf(MouseEventType type) {
  switch (type) {
    case MouseEventType::leftDown:
      return {Change::down, leftButton};
    case MouseEventType::leftUp:
      return {Change::up, leftButton};
    case MouseEventType::rightDown:
      return {Change::down, rightButton};
    case MouseEventType::rightUp:
      return {Change::up, rightButton};
    case MouseEventType::otherDown:
      return {Change::down, middleButton};
    case MouseEventType::otherUp:
      return {Change::up, middleButton};
    case MouseEventType::leftDragged:
    case MouseEventType::rightDragged:
    case MouseEventType::otherDragged:
      return {Change::drag, 0};
    case MouseEventType::moved:
      break;
  }
  return {Change::none, 0};
}

int coordinate(double value) {
  // Coordinates of the X protocol have 16 bits.
  return static_cast<int>(std::floor(std::clamp(value, -32'768.0, 32'767.0)));
}

/// The client has a PC keyboard: nothing is translated.
bool isAsPressed(std::uint64_t flags) {
  return (flags & eventFlags::asPressed) != 0;
}

std::uint64_t flagsForPointer(std::uint64_t flags) {
  return isAsPressed(flags) ? flags : pointerFlagsFor(flags);
}

std::uint64_t modifierFlagOf(std::uint16_t code) {
  const auto found =
      std::ranges::find_if(modifiers, [code](const auto& modifier) { return modifier.has(code); });
  return found == modifiers.end() ? 0 : found->flag;
}

}  // namespace

std::vector<InputAction> InputPlanner::plan(const MouseEvent& event) {
  Actions actions;
  move(actions, event.location);
  const auto [change, number] = changeOf(event.type);
  switch (change) {
    case Change::down:
      useCommand(event.flags, flagsForPointer(event.flags));
      syncModifiers(actions, flagsForPointer(event.flags), Pressing::allowed);
      if (buttons_.insert(number).second) actions.push_back(button(number, true));
      break;
    case Change::up:
      if (buttons_.erase(number) != 0) actions.push_back(button(number, false));
      syncModifiers(actions, keptFlags(event.flags), Pressing::forbidden);
      break;
    case Change::drag:
      if (buttons_.empty()) {
        syncModifiers(actions, keptFlags(event.flags), Pressing::forbidden);
      } else {
        useCommand(event.flags, flagsForPointer(event.flags));
        syncModifiers(actions, flagsForPointer(event.flags), Pressing::allowed);
      }
      break;
    case Change::none:
      syncModifiers(actions, keptFlags(event.flags), Pressing::forbidden);
      break;
  }
  letGoWhenIdle(actions);
  return actions;
}

int InputPlanner::stepsOf(const ScrollEvent& event, bool isVertical) {
  const auto whole = isVertical ? event.wheel1 : event.wheel2.value_or(0);
  if (event.unit == ScrollUnit::line) return boundedSteps(whole);
  // A pinch arrives as a scroll of one wheel, in pixels.
  if (!event.wheel2) return isVertical ? zoom_.add(whole) : 0;
  const auto exact = isVertical ? event.pointDeltaAxis1 : event.pointDeltaAxis2;
  return (isVertical ? vertical_ : horizontal_).add(exact.value_or(whole));
}

std::vector<InputAction> InputPlanner::plan(const ScrollEvent& event) {
  Actions actions;
  move(actions, event.location);
  const int up = stepsOf(event, true);
  const int left = stepsOf(event, false);
  if (up != 0 || left != 0) {
    useCommand(event.flags, flagsForPointer(event.flags));
    syncModifiers(actions, flagsForPointer(event.flags), Pressing::allowed);
  } else {
    syncModifiers(actions, keptFlags(event.flags), Pressing::forbidden);
  }
  const auto turn = [&](int steps, std::uint16_t positive, std::uint16_t negative) {
    const std::uint16_t number = steps > 0 ? positive : negative;
    for (int i = 0; i < std::abs(steps); ++i) {
      actions.push_back(button(number, true));
      actions.push_back(button(number, false));
    }
  };
  turn(up, wheelUp, wheelDown);
  turn(left, wheelLeft, wheelRight);
  letGoWhenIdle(actions);
  return actions;
}

bool InputPlanner::dependsOnProgram(const KeyboardEvent& event) {
  return event.down && !isAsPressed(event.flags) &&
         (event.flags & (eventFlags::command | eventFlags::option)) != 0 &&
         modifierFlagOf(event.keyCode) == 0;
}

std::vector<InputAction> InputPlanner::plan(const KeyboardEvent& event, FocusedProgram program) {
  Actions actions;
  if (event.keyCode == keyCode::capsLock) {
    planCapsLockKey(actions, event);
  } else if (isCommandKey(event.keyCode) && !isAsPressed(event.flags)) {
    planCommandKey(actions, event);
  } else if (const auto flag = modifierFlagOf(event.keyCode); flag != 0) {
    planModifierKey(actions, event, flag);
  } else if (event.down) {
    pressKey(actions, event, program);
  } else {
    if (const auto held = keys_.extract(event.keyCode)) actions.push_back(key(held.mapped(), false));
    syncModifiers(actions, keptFlags(event.flags), Pressing::forbidden);
    letGoWhenIdle(actions);
  }
  return actions;
}

void InputPlanner::pressKey(Actions& actions, const KeyboardEvent& event, FocusedProgram program) {
  const auto shortcut = isAsPressed(event.flags) ? std::optional(Shortcut{event.keyCode, event.flags})
                                                 : shortcutFor(event.keyCode, event.flags, program);
  useCommand(event.flags, shortcut ? shortcut->flags : 0);
  syncCapsLock(actions, event.flags);
  // Repeats come from the client. Each is another press.
  if (const auto held = keys_.extract(event.keyCode)) actions.push_back(key(held.mapped(), false));
  if (!shortcut) return;
  syncModifiers(actions, shortcut->flags, Pressing::allowed);
  // Another key of the client may mean the same one.
  std::erase_if(keys_, [&](const auto& held) {
    if (held.second != shortcut->keyCode) return false;
    actions.push_back(key(held.second, false));
    return true;
  });
  keys_.emplace(event.keyCode, shortcut->keyCode);
  actions.push_back(key(shortcut->keyCode, true));
}

void InputPlanner::planCommandKey(Actions& actions, const KeyboardEvent& event) {
  if (event.down) {
    syncModifiers(actions, keptFlags(event.flags | eventFlags::command), Pressing::forbidden);
    if (commandKeys_.empty()) isCommandUsed_ = false;
    commandKeys_.insert(event.keyCode);
    return;
  }
  const bool wasHeld = commandKeys_.erase(event.keyCode) != 0;
  if (!commandKeys_.empty()) return;
  syncModifiers(actions, keptFlags(event.flags & ~eventFlags::command), Pressing::forbidden);
  letGoWhenIdle(actions);
  if (wasHeld && !isCommandUsed_) {
    actions.push_back(key(event.keyCode, true));
    actions.push_back(key(event.keyCode, false));
  }
}

/// A key, a button or the wheel is used with these flags, which mean others.
void InputPlanner::useCommand(std::uint64_t flags, std::uint64_t meant) {
  if ((flags & eventFlags::command) == 0 || isAsPressed(flags)) {
    keptFlags(flags);
    return;
  }
  isCommandUsed_ = true;
  standIns_ = meant & ~flags;
}

/// The flags whose keys stay down at an event that presses nothing. Without Command in its flags the client
/// holds no Command key, even if its release was lost.
std::uint64_t InputPlanner::keptFlags(std::uint64_t flags) {
  if ((flags & eventFlags::command) != 0 && !isAsPressed(flags))
    return (flags & ~eventFlags::command) | standIns_;
  commandKeys_.clear();
  standIns_ = 0;
  return flags;
}

void InputPlanner::planModifierKey(Actions& actions, const KeyboardEvent& event, std::uint64_t flag) {
  syncModifiers(actions, keptFlags(event.flags), Pressing::forbidden, flag);
  if (event.down) {
    const bool wasPressed = flagKeys_.erase(event.keyCode) != 0;
    if (ownKeys_.insert(event.keyCode).second && !wasPressed) actions.push_back(key(event.keyCode, true));
    return;
  }
  if (ownKeys_.erase(event.keyCode) != 0) actions.push_back(key(event.keyCode, false));
  const bool isOtherHeld =
      std::ranges::any_of(ownKeys_, [flag](auto code) { return modifierFlagOf(code) == flag; });
  if (!isOtherHeld) releaseModifiers(actions, flag);
  letGoWhenIdle(actions);
}

void InputPlanner::planCapsLockKey(Actions& actions, const KeyboardEvent& event) {
  if (!event.down && keys_.erase(event.keyCode) != 0) {
    actions.push_back(key(event.keyCode, false));
    return;
  }
  // If the client sends the lock's state in its flags, the lock follows it, on press and release. If it does
  // not, the key acts as a plain key.
  if ((event.flags & eventFlags::capsLock) != 0 || isCapsLockOn_) {
    syncCapsLock(actions, event.flags);
  } else if (event.down && keys_.emplace(event.keyCode, event.keyCode).second) {
    actions.push_back(key(event.keyCode, true));
  }
}

std::vector<InputAction> InputPlanner::releaseAll() {
  Actions actions;
  for (const auto number : buttons_) actions.push_back(button(number, false));
  for (const auto& [wireKey, code] : keys_) actions.push_back(key(code, false));
  buttons_.clear();
  keys_.clear();
  for (const auto& modifier : modifiers) releaseModifiers(actions, modifier.flag);
  keptFlags(0);
  syncCapsLock(actions, 0);
  vertical_.reset();
  horizontal_.reset();
  zoom_.reset();
  return actions;
}

std::vector<std::uint16_t> InputPlanner::heldModifierKeys() const {
  std::vector<std::uint16_t> held(ownKeys_.begin(), ownKeys_.end());
  held.insert(held.end(), flagKeys_.begin(), flagKeys_.end());
  return held;
}

void InputPlanner::move(Actions& actions, PointXY location) const {
  if (!std::isfinite(location.x) || !std::isfinite(location.y)) return;
  actions.push_back(
      {.kind = InputAction::Kind::motion, .x = coordinate(location.x), .y = coordinate(location.y)});
}

void InputPlanner::syncModifiers(Actions& actions, std::uint64_t flags, Pressing pressing,
                                 std::uint64_t except) {
  for (const auto& modifier : modifiers) {
    if (modifier.flag == except) continue;
    if ((flags & modifier.flag) == 0) {
      releaseModifiers(actions, modifier.flag);
      continue;
    }
    const bool isHeld =
        std::ranges::any_of(heldModifierKeys(), [&](auto code) { return modifier.has(code); });
    if (isHeld || pressing == Pressing::forbidden) continue;
    flagKeys_.insert(modifier.left);
    actions.push_back(key(modifier.left, true));
  }
}

void InputPlanner::releaseModifiers(Actions& actions, std::uint64_t flag) {
  for (auto* keys : {&ownKeys_, &flagKeys_}) {
    std::erase_if(*keys, [&](auto code) {
      if (modifierFlagOf(code) != flag) return false;
      actions.push_back(key(code, false));
      return true;
    });
  }
}

void InputPlanner::letGoWhenIdle(Actions& actions) {
  if (!keys_.empty() || !buttons_.empty() || !commandKeys_.empty()) return;
  for (const auto code : flagKeys_) actions.push_back(key(code, false));
  flagKeys_.clear();
}

void InputPlanner::syncCapsLock(Actions& actions, std::uint64_t flags) {
  const bool isWanted = (flags & eventFlags::capsLock) != 0;
  if (isWanted == isCapsLockOn_) return;
  isCapsLockOn_ = isWanted;
  actions.push_back(capsLock(isWanted));
}

}  // namespace quorl
