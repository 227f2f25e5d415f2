// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>

#include <QuorlHostCore/Ports/PictureScaler.h>

namespace quorl {

/// PNG and JPEG files decoded and scaled by libavcodec and libswscale. The files may be made by other users:
/// their size is judged by the header before a decoder sees them.
///
/// *Queue*: any thread. *Blocking*: computes; the largest picture takes a few tenths of a second.
/// Memory: at most about 12 bytes a pixel, and the file twice.
class ScaledPictures final : public PictureScaler {
 public:
  /// 4096 x 4096. A file of a few kilobytes can name that many pixels, so that larger photographs are
  /// refused.
  static constexpr std::int64_t mostPixels = 16'777'216;
  static constexpr int longestSide = 16'384;

  std::optional<Bytes> scaledPNG(ByteView file, int longestSide) override;
};

}  // namespace quorl
