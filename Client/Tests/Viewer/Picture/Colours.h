// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <vector>

#include <quorl-client/Video/PicturePlanes.h>

namespace quorl::viewer::test {

using Colour = std::array<double, 3>;  // red, green, blue, 0 to 255

/// The colour of coded samples of 8 bits by the definition of the matrix.
inline Colour colourOf(client::ColourMatrix matrix, client::ColourRange range, double luma,
                       double blueDifference, double redDifference) {
  double kr = 0.299;
  double kb = 0.114;
  if (matrix == client::ColourMatrix::bt709) kr = 0.2126, kb = 0.0722;
  if (matrix == client::ColourMatrix::bt2020) kr = 0.2627, kb = 0.0593;
  const bool isFull = range == client::ColourRange::full;
  const double y = isFull ? luma : (luma - 16) * 255 / 219;
  const double cb = (blueDifference - 128) * (isFull ? 1 : 255.0 / 224);
  const double cr = (redDifference - 128) * (isFull ? 1 : 255.0 / 224);
  const double kg = 1 - kr - kb;
  Colour colour{y + 2 * (1 - kr) * cr, y - 2 * kb * (1 - kb) / kg * cb - 2 * kr * (1 - kr) / kg * cr,
                y + 2 * (1 - kb) * cb};
  for (auto& channel : colour) channel = std::clamp(channel, 0.0, 255.0);
  return colour;
}

/// Pixels of a canvas, with a margin after each row.
class Pixels {
 public:
  explicit Pixels(PixelSize size)
      : size_(size),
        stride_(static_cast<std::size_t>(size.width) * 4 + 64),
        bytes_(stride_ * static_cast<std::size_t>(size.height), 0xEE) {}

  PixelSize size() const { return size_; }
  std::size_t stride() const { return stride_; }
  std::uint8_t* data() { return bytes_.data(); }
  Colour at(int x, int y) const {
    const auto* pixel =
        bytes_.data() + static_cast<std::size_t>(y) * stride_ + static_cast<std::size_t>(x) * 4;
    return {double(pixel[2]), double(pixel[1]), double(pixel[0])};
  }
  bool operator==(const Pixels& other) const { return bytes_ == other.bytes_; }

 private:
  PixelSize size_;
  std::size_t stride_;
  std::vector<std::uint8_t> bytes_;
};

inline double difference(const Colour& a, const Colour& b) {
  double most = 0;
  for (std::size_t channel = 0; channel < 3; ++channel)
    most = std::max(most, std::abs(a[channel] - b[channel]));
  return most;
}

}  // namespace quorl::viewer::test
