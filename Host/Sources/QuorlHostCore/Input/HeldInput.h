// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <vector>

#include <QuorlKit/Foundation/Geometry.h>
#include <QuorlKit/Protocol/InputEvents.h>

namespace quorl {

/// The keys and buttons that one client holds down, so that they can be released when its connection or its
/// stream ends.
///
/// *Queue*: the owner's; a value.
class HeldInput {
 public:
  struct Release {
    std::vector<PointerButton> buttons;   // released at `location`
    std::vector<std::uint16_t> keyCodes;  // in no particular order
    PointXY location;
  };

  void pointer(PointerPhase phase, PointerButton button, PointXY location, std::uint32_t streamID);
  void key(std::uint16_t keyCode, bool down, WireModifiers modifiers);

  /// Returns everything that is held, which then counts as released. A Caps Lock that the client's last key
  /// was sent with counts as a held key.
  Release releaseAll();
  /// Returns the buttons that were pressed in this stream, which then count as released.
  Release releaseButtons(std::uint32_t streamID);

  bool isEmpty() const { return buttons_.empty() && keyCodes_.empty() && !hasCapsLock_; }

 private:
  std::map<PointerButton, std::uint32_t> buttons_;  // with the stream they were pressed in
  std::set<std::uint16_t> keyCodes_;
  bool hasCapsLock_ = false;
  PointXY location_;
};

}  // namespace quorl
