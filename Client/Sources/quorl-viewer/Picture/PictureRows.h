// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>

#include <quorl-client/Video/PicturePlanes.h>

namespace quorl::viewer {

/// Bytes of a pixel on a canvas: blue, green, red, unused.
constexpr std::size_t bytesPerPixel = 4;

/// Converts a part of a picture, which must lie within it, to pixels. Each pixel takes the nearest chroma
/// sample. The result for a pixel does not depend on the part.
///
/// *Queue*: any.
void convertPart(const client::PicturePlanes& picture, const PixelRect& part, std::uint8_t* pixels,
                 std::size_t stride);

}  // namespace quorl::viewer
