// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>

#include <QuorlKit/Foundation/Geometry.h>

namespace quorl {

/// The size of the pictures of a source of `points`: in pixels of the source, reduced so that the longer side
/// is at most `maxDimension`, even and at least 2 on both sides. Any input gives a size.
PixelSize encodedSizeFor(PointSize points, double pointPixelScale, std::int64_t maxDimension);

}  // namespace quorl
