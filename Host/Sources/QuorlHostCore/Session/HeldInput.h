// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <set>
#include <vector>

#include <QuorlKit/Foundation/Geometry.h>
#include <QuorlKit/Protocol/InputEvents.h>

namespace quorl {

/// The keys and buttons that one client holds down, so that none stays down when its connection ends.
class HeldInput {
 public:
  struct Release {
    std::vector<PointerButton> buttons;   // let go at `location`
    std::vector<std::uint16_t> keyCodes;  // in no particular order
    PointXY location;
  };

  void pointer(PointerPhase phase, PointerButton button, PointXY location);
  void key(std::uint16_t keyCode, bool down);

  /// What is still held. Afterwards nothing is.
  Release releaseAll();

  bool isEmpty() const { return buttons_.empty() && keyCodes_.empty(); }

 private:
  std::set<PointerButton> buttons_;
  std::set<std::uint16_t> keyCodes_;
  PointXY location_;
};

}  // namespace quorl
