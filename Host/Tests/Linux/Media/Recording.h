// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <QuorlHostCore/Ports/VideoCompressor.h>

#include "SyntheticScreen.h"

namespace quorl::test {

/// Runs a shell command. Returns the output of both streams, after the status of a failed command.
std::string outputOf(const std::string& command);

Bytes contentOf(const std::string& file);

/// One real encoder and all its output.
class Recording {
 public:
  /// With the codec's software encoder, at any speed.
  Recording(VideoCodec codec, PixelSize size, int fps = 60, double quality = 0.5);

  bool isOpen() const { return compressor_ != nullptr; }
  VideoCompressor& compressor() { return *compressor_; }
  void encode(std::shared_ptr<const PictureBuffer> image, std::vector<PixelRect> changed = {},
              bool forceKeyFrame = false);
  /// The picture encoded before.
  void encodeAgain(std::shared_ptr<const PictureBuffer> image);
  /// The time of the next picture.
  void advance(std::chrono::microseconds by) { time_ += by; }
  void setRates(int fps, double quality);

  const std::vector<CompressedPicture>& pictures() const { return pictures_; }
  /// The number of pictures without data.
  std::size_t dropped() const { return dropped_; }
  std::vector<std::size_t> keyFrames() const;

  /// Parameter sets and pictures with start codes, for the raw formats.
  Bytes annexB() const;
  /// Writes the raw stream. Returns FFmpeg's name of its format.
  std::string writeRaw(const std::string& file) const;
  /// Every decoded picture as packed NV12; `complaints` receives the decoder's messages.
  std::vector<std::vector<std::uint8_t>> decoded(std::string* complaints = nullptr) const;

  std::int64_t averageBitRate() const { return averageBitRate_; }
  /// Bits of the pictures with times in [from, from + length).
  std::int64_t bitsIn(std::chrono::microseconds from, std::chrono::microseconds length) const;
  /// The most bits in any second that begins with a picture.
  std::int64_t mostBitsInASecond() const;

 private:
  VideoCodec codec_;
  PixelSize size_;
  std::chrono::microseconds time_{0};
  std::int64_t averageBitRate_ = 0;
  std::vector<CompressedPicture> pictures_;
  std::size_t dropped_ = 0;
  std::unique_ptr<VideoCompressor> compressor_;
};

}  // namespace quorl::test
