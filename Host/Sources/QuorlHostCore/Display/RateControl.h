// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QuorlHostCore/Ports/VideoCompressor.h>
#include <QuorlKit/Foundation/Geometry.h>

namespace quorl {

/// The rates for pictures of `size` at `fps` pictures a second, from a quality of 0 to 1 (clamped): 0.02 to
/// 0.2 bits per pixel, between 2 and 80 Mbit/s on average, and at most one and a half times that average in
/// any second.
CompressionRates compressionRates(PixelSize size, int fps, double quality);

}  // namespace quorl
