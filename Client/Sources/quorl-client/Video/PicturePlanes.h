// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstdint>

#include <QuorlKit/Foundation/Geometry.h>

namespace quorl::client {

/// How the samples of a 4:2:0 picture are stored. The 10-bit formats have 16 bits a sample: `i010` in the low
/// bits, `p010` in the high bits.
enum class PlaneFormat : std::uint8_t { i420, nv12, i010, p010 };

/// The matrix from RGB to Y, Cb and Cr (ITU-R BT.601-7, BT.709-6, BT.2020-2 with non-constant luminance).
enum class ColourMatrix : std::uint8_t { bt601, bt709, bt2020 };

/// `limited`: black is 16 and white 235 of 255. `full`: 0 and 255.
enum class ColourRange : std::uint8_t { limited, full };

/// The planes of a picture: Y, Cb, Cr, or Y and interleaved Cb and Cr. Borrowed. Strides are in bytes.
struct PicturePlanes {
  PlaneFormat format = PlaneFormat::i420;
  ColourMatrix matrix = ColourMatrix::bt601;
  ColourRange range = ColourRange::limited;
  PixelSize size;
  std::array<const std::uint8_t*, 3> planes{};
  std::array<int, 3> strides{};
};

}  // namespace quorl::client
