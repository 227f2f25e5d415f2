// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <vector>

#include <QuorlHostCore/Ports/VideoCompressor.h>

namespace quorl {

/// What x264 and x265 have in common here.

/// The frame rate that the stream declares, whatever the pictures' own rate: a constant keeps the decoder
/// configuration the same. The rate is kept in presentation time, by `QuantizerControl`.
inline constexpr int declaredFrameRate = 60;

/// Threads for one picture.
int encodingThreads();

/// A made-up page of text to warm an encoder with: it touches the memory and starts the threads.
class WarmUpPicture : public PictureBuffer {
 public:
  WarmUpPicture(PixelSize pictureSize, std::uint32_t page);

 private:
  void drawGlyph(int x, int y, std::uint32_t strokes);

  std::vector<std::uint8_t> bytes_;
};

/// Says when a key frame is due by presentation time.
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
