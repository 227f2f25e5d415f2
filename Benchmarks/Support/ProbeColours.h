// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstdint>
#include <random>

#include "Viewer.h"

namespace quorl::bench {

/// A pixel of a TrueColor visual with 8 bits per channel.
inline std::uint32_t pixelOf(Rgb colour) {
  return static_cast<std::uint32_t>(colour.red << 16 | colour.green << 8 | colour.blue);
}

/// Colours for probes. Consecutive colours are far apart, so that an old picture is not mistaken for a new
/// one.
class ProbeColours {
 public:
  Rgb next() {
    constexpr std::array<Rgb, 4> palette{{{200, 40, 60}, {40, 190, 70}, {60, 60, 210}, {210, 200, 50}}};
    Rgb colour = palette[step_++ % palette.size()];
    colour.red += static_cast<int>(random_() % 24);
    return colour;
  }

 private:
  std::size_t step_ = 0;
  std::mt19937 random_{7};
};

}  // namespace quorl::bench
