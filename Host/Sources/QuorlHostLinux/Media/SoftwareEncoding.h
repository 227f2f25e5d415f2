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
/// configuration the same, and the encoders' rate models are told of real time through `RateBucket`.
inline constexpr int declaredFrameRate = 60;

/// Threads for one picture.
int encodingThreads();

/// The constant quality that suits a rate: 18 (fine) to 26 (coarse), from the bits per pixel that the rate
/// allows. The rate itself is a ceiling; what changes little stays far below it.
float constantRateFactor(const CompressionRates& rates, PixelSize size);

/// A made-up page of text to warm an encoder with: it touches the memory, starts the threads, and teaches the
/// rate model what a screen costs, which would otherwise take the first picture for several times too large.
class WarmUpPicture : public PictureBuffer {
 public:
  /// Without a page it stays blank.
  WarmUpPicture(PixelSize pictureSize, std::optional<std::uint32_t> page);

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
