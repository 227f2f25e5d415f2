// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>

#include <QuorlHostCore/Ports/VideoCompressor.h>
#include <QuorlKit/Foundation/Geometry.h>

namespace quorl {

/// The rates for pictures of `size` at `fps` pictures per second, from a quality of 0 to 1 (clamped): 0.02 to
/// 0.2 bits per pixel, on average 2 to 80 Mbit/s, and in any second at most one and a half times the average.
CompressionRates compressionRates(PixelSize size, int fps, double quality);

/// The part of `rates` that a link with this many bytes per second carries. Nothing for 0, or if the link
/// carries all of it with room to spare. Before a picture of this size gets less than 0.08 bits per pixel the
/// frame rate is reduced, down to 8 pictures per second; below that, detail is lost.
std::optional<LinkRates> linkRates(const CompressionRates& rates, PixelSize size, double bytesPerSecond);

}  // namespace quorl
