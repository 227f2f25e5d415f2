// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstdint>
#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include <QuorlHostCore/Ports/PortError.h>
#include <QuorlHostCore/Ports/ScreenCapture.h>
#include <QuorlKit/Foundation/ByteView.h>
#include <QuorlKit/Models/Models.h>

namespace quorl {

struct CompressorSpecification {
  PixelSize size;
  VideoCodec codec = VideoCodec::h264;
  bool lowLatencyRateControl = true;
  bool realTime = true;
  bool allowFrameReordering = false;
  int maxKeyFrameInterval = 600;  // pictures
  std::chrono::seconds maxKeyFrameIntervalDuration{10};
};

/// What a client's link leaves to a stream.
struct LinkRates {
  std::int64_t bitRate = 0;       // bits per second
  int frameRate = 0;              // pictures per second
  std::int64_t pictureBytes = 0;  // of one picture; a key frame may take a few times as much

  bool operator==(const LinkRates&) const = default;
};

struct CompressionRates {
  int expectedFrameRate = 60;
  std::int64_t averageBitRate = 2'000'000;              // bits per second
  std::int64_t dataRateLimitBytes = 0;                  // at most this many bytes ...
  std::chrono::milliseconds dataRateLimitWindow{1000};  // ... in any window of this length
  std::optional<LinkRates> link{};                      // limits on top of these; never above them

  bool operator==(const CompressionRates&) const = default;
};

enum class PictureContent : std::uint8_t {
  changed,
  repeated,  // the picture encoded before, once more: to be sharper, or to be a key frame
};

struct CompressionRequest {
  std::shared_ptr<const PictureBuffer> image;
  std::chrono::microseconds presentationTime{};
  bool forceKeyFrame = false;
  PictureContent content = PictureContent::changed;
  /// What differs from the picture encoded before, a hint; empty: all of it, unless it is repeated.
  std::vector<PixelRect> changed;
};

/// How coarse a picture came out, in mean quantisers of H.264 and HEVC: 0 (lossless) to 51.
struct Coarseness {
  float quantizer = -1.0F;  // negative when unknown
  float sharp = 26.0F;      // what it comes to when there is time for it

  bool isWorthRepeating() const { return quantizer > sharp; }
};

struct CompressedPicture {
  /// Access unit: NAL units, each with a 4-byte big-endian length (ISO/IEC 14496-15). Absent for a picture
  /// that the encoder has dropped.
  SharedBytes data;
  bool isKeyFrame = false;
  std::chrono::microseconds presentationTime{};
  /// The decoder configuration in force: AVCDecoderConfigurationRecord ("avcC") or
  /// HEVCDecoderConfigurationRecord ("hvcC"), ISO/IEC 14496-15. The same object while nothing changes.
  SharedBytes configurationRecord;
  Coarseness coarseness;
};

/// One encoder at work. Pictures come out in the order they went in, one for each; a dropped one comes out
/// without data.
///
/// *Queue*: `encode` and `setRates` are called from one queue at a time and may run the encoder on the
/// caller's thread. The output handler runs on the caller's thread or on one of the encoder's own.
/// *Lifetime*: destruction waits for pending pictures, whose output is then dropped.
class VideoCompressor {
 public:
  using Output = std::function<void(CompressedPicture)>;

  virtual ~VideoCompressor() = default;
  virtual void setRates(const CompressionRates& rates) = 0;
  /// Ready to encode without a first-picture delay.
  virtual void prepare() = 0;
  virtual void encode(const CompressionRequest& request) = 0;
  /// Waits until all pending pictures have come out, and ends the encoder; `encode` does nothing afterwards.
  virtual void completeAndInvalidate() = 0;
};

/// Makes encoders; chooses among hardware and software once and logs the choice through the caller.
class VideoCompressorFactory {
 public:
  virtual ~VideoCompressorFactory() = default;
  /// The error's `status` says why there is no such encoder here.
  virtual std::expected<std::unique_ptr<VideoCompressor>, PortError> make(
      const CompressorSpecification& specification, VideoCompressor::Output output) = 0;
};

}  // namespace quorl
