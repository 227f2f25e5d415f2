// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>

namespace quorl::viewer {

/// Counts the units of a wheel to whole notches, for one axis. The rest of a notch counts towards the next,
/// unless the direction changes: a wheel that is turned back starts a notch of its own.
class ScrollAccumulator {
 public:
  static constexpr int unitsPerNotch = 120;  // eighths of a degree, 15 degrees a notch

  /// Whole notches to send now, with the sign of the units.
  int add(int units) {
    if ((units < 0 && rest_ > 0) || (units > 0 && rest_ < 0)) rest_ = 0;
    const std::int64_t sum = std::int64_t{rest_} + units;
    rest_ = static_cast<int>(sum % unitsPerNotch);
    return static_cast<int>(sum / unitsPerNotch);
  }
  void reset() { rest_ = 0; }

 private:
  int rest_ = 0;
};

}  // namespace quorl::viewer
