// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>

#include <QuorlHostCore/Ports/Pasteboard.h>

namespace quorl {

/// Image files converted by libavcodec. Of a TIFF with several pictures the first is taken.
///
/// *Queue*: any thread. *Blocking*: computes; a picture of 8K takes about two seconds.
/// Memory: at most about 12 bytes a pixel, and the file twice.
class ImageFiles final : public ImageConverter {
 public:
  /// A screen of 7680 x 4320 fits. A file can name more pixels than it has bytes.
  static constexpr std::int64_t mostPixels = 32 * std::int64_t{1'048'576};
  static constexpr int longestSide = 32'767;

  std::optional<Bytes> pngFromTIFF(ByteView tiff) override;
};

}  // namespace quorl
