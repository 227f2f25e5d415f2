// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>

#include <QuorlHostCore/Ports/VideoCompressor.h>
#include <QuorlKit/Foundation/Geometry.h>

namespace quorl {

/// The rates for pictures of `size` at `fps` pictures a second, from a quality of 0 to 1 (clamped): 0.02 to
/// 0.2 bits per pixel, between 2 and 80 Mbit/s on average, and at most one and a half times that average in
/// any second.
CompressionRates compressionRates(PixelSize size, int fps, double quality);

/// The part of `rates` that a link of this many bytes per second carries; nothing for 0, or where the link
/// carries all of it with room to spare. The frame rate falls before a picture of this size would have to do
/// with less than 0.08 bits per pixel, down to 8 pictures a second; below that, detail is lost.
std::optional<LinkRates> linkRates(const CompressionRates& rates, PixelSize size, double bytesPerSecond);

}  // namespace quorl
