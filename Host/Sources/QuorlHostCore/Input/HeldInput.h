// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <vector>

#include <QuorlKit/Foundation/Geometry.h>
#include <QuorlKit/Protocol/InputEvents.h>

namespace quorl {

/// The keys and buttons that one client holds down, so that none stays down when its connection or its stream
/// ends.
class HeldInput {
 public:
  struct Release {
    std::vector<PointerButton> buttons;   // let go at `location`
    std::vector<std::uint16_t> keyCodes;  // in no particular order
    PointXY location;
  };

  void pointer(PointerPhase phase, PointerButton button, PointXY location, std::uint32_t streamID);
  void key(std::uint16_t keyCode, bool down, WireModifiers modifiers);

  /// What is still held. Afterwards nothing is. A Caps Lock that the client's last key asked for counts as a
  /// held key.
  Release releaseAll();
  /// The buttons that went down in this stream and are still held. Afterwards they are not.
  Release releaseButtons(std::uint32_t streamID);

  bool isEmpty() const { return buttons_.empty() && keyCodes_.empty() && !hasCapsLock_; }

 private:
  std::map<PointerButton, std::uint32_t> buttons_;  // with the stream they went down in
  std::set<std::uint16_t> keyCodes_;
  bool hasCapsLock_ = false;
  PointXY location_;
};

}  // namespace quorl
