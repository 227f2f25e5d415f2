// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <vector>

namespace quorl::viewer {

/// The source pixels that make one destination pixel along one axis, and their shares of 256.
struct Taps {
  int first = 0;
  std::vector<std::uint16_t> weights;  // their sum is 256

  int end() const { return first + static_cast<int>(weights.size()); }
};

/// Linear interpolation if the destination is at least as long as the source; else the mean of what a
/// destination pixel covers. Positions depend on the two lengths only, so that a part of a destination gets
/// the same pixels as the whole.
///
/// 0 <= index < destination, 0 < source. Pure.
Taps tapsOf(int index, int source, int destination);

}  // namespace quorl::viewer
