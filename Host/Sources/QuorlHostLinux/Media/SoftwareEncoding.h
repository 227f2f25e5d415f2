// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <vector>

#include <QuorlHostCore/Ports/VideoCompressor.h>

namespace quorl {

/// Shared by the x264 and x265 encoders.

/// The frame rate that the stream declares, at any picture rate: a constant keeps the decoder configuration
/// the same. `QuantizerControl` keeps the bit rate, in presentation time.
inline constexpr int declaredFrameRate = 60;

/// Threads for one picture.
int encodingThreads();

/// A synthetic page of text that warms up an encoder: it touches the memory and starts the threads.
class WarmUpPicture : public PictureBuffer {
 public:
  WarmUpPicture(PixelSize pictureSize, std::uint32_t page);

 private:
  void drawGlyph(int x, int y, std::uint32_t strokes);

  std::vector<std::uint8_t> bytes_;
};

/// Decides by presentation time when a key frame is due.
class KeyFrameClock {
 public:
  explicit KeyFrameClock(std::chrono::microseconds longestInterval) : longestInterval_(longestInterval) {}

  bool isDue(std::chrono::microseconds presentationTime) const {
    return !last_ || presentationTime - *last_ >= longestInterval_;
  }
  void keyFrameAt(std::chrono::microseconds presentationTime) { last_ = presentationTime; }

 private:
  std::chrono::microseconds longestInterval_;
  std::optional<std::chrono::microseconds> last_;
};

}  // namespace quorl
