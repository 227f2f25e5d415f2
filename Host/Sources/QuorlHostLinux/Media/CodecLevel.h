// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>

#include <QuorlKit/Foundation/Geometry.h>

namespace quorl {

/// The level, times ten, for pictures of a size at 60 per second and the highest rate. It depends on nothing
/// else, so that the decoder configuration stays the same while the rates change. Nothing for a picture that
/// exceeds every level.
std::optional<int> avcLevel(PixelSize size);
std::optional<int> hevcLevel(PixelSize size);

}  // namespace quorl
