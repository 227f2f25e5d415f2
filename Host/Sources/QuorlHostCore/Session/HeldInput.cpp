// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Session/HeldInput.h>

#include <utility>

namespace quorl {

void HeldInput::pointer(PointerPhase phase, PointerButton button, PointXY location) {
  location_ = location;
  if (phase == PointerPhase::down) buttons_.insert(button);
  if (phase == PointerPhase::up) buttons_.erase(button);
}

void HeldInput::key(std::uint16_t keyCode, bool down) {
  if (down) {
    keyCodes_.insert(keyCode);
  } else {
    keyCodes_.erase(keyCode);
  }
}

HeldInput::Release HeldInput::releaseAll() {
  Release release{{buttons_.begin(), buttons_.end()}, {keyCodes_.begin(), keyCodes_.end()}, location_};
  buttons_.clear();
  keyCodes_.clear();
  return release;
}

}  // namespace quorl
