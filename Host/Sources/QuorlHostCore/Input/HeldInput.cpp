// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Input/HeldInput.h>

#include <utility>

namespace quorl {

namespace {

// kVK_CapsLock of the Mac's virtual key codes.
constexpr std::uint16_t capsLockKey = 0x39;

}  // namespace

void HeldInput::pointer(PointerPhase phase, PointerButton button, PointXY location, std::uint32_t streamID) {
  location_ = location;
  if (phase == PointerPhase::down) buttons_[button] = streamID;
  if (phase == PointerPhase::up) buttons_.erase(button);
}

void HeldInput::key(std::uint16_t keyCode, bool down, WireModifiers modifiers) {
  if (down) {
    keyCodes_.insert(keyCode);
    hasCapsLock_ = modifiers.contains(WireModifiers::capsLock);
  } else {
    keyCodes_.erase(keyCode);
  }
}

HeldInput::Release HeldInput::releaseAll() {
  Release release{{}, {keyCodes_.begin(), keyCodes_.end()}, location_};
  for (const auto& [button, streamID] : buttons_) release.buttons.push_back(button);
  if (hasCapsLock_ && !keyCodes_.contains(capsLockKey)) release.keyCodes.push_back(capsLockKey);
  buttons_.clear();
  keyCodes_.clear();
  hasCapsLock_ = false;
  return release;
}

HeldInput::Release HeldInput::releaseButtons(std::uint32_t streamID) {
  Release release{{}, {}, location_};
  std::erase_if(buttons_, [&](const auto& held) {
    if (held.second != streamID) return false;
    release.buttons.push_back(held.first);
    return true;
  });
  return release;
}

}  // namespace quorl
