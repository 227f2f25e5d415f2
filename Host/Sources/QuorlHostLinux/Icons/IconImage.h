// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include <QuorlKit/Foundation/ByteView.h>
#include <QuorlKit/Foundation/Geometry.h>

namespace quorl {

/// In pixels. Larger icons are refused before their pixels are read.
constexpr int largestIconSide = 1'024;

/// A picture of 32-bit pixels, 0xAARRGGBB, not multiplied with alpha, row after row from the top.
struct IconImage {
  PixelSize size;
  std::vector<std::uint32_t> pixels;

  bool operator==(const IconImage&) const = default;
};

/// Nothing when the bytes are no PNG, are damaged, or a side is above `largestIconSide`. The bytes may come
/// from anyone.
std::optional<IconImage> decodePNG(ByteView bytes);

std::optional<Bytes> encodePNG(const IconImage& image);

/// The whole picture in a square of `side` pixels (1 to `largestIconSide`). Transparent pixels do not bleed
/// their colour.
IconImage scaledToSquare(const IconImage& image, int side);

}  // namespace quorl
