// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>

#include <quorl-client/Video/Decoder.h>

#include "Viewer.h"

namespace quorl::bench {

/// ITU-R BT.601, limited range, as the host declares in its stream.
inline Rgb rgbOf(client::DecodedPicture::Sample sample) {
  const double luma = 1.164 * (sample.luma - 16);
  const double blue = sample.blueDifference - 128;
  const double red = sample.redDifference - 128;
  const auto channel = [](double value) { return static_cast<int>(std::clamp(value, 0.0, 255.0) + 0.5); };
  return {channel(luma + 1.596 * red), channel(luma - 0.813 * red - 0.392 * blue),
          channel(luma + 2.017 * blue)};
}

}  // namespace quorl::bench
