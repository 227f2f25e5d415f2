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

/// Every encoder works for low latency: no reordering of pictures, no look-ahead, rate control for real time.
struct CompressorSpecification {
  PixelSize size;
  VideoCodec codec = VideoCodec::h264;
  int maxKeyFrameInterval = 600;  // pictures
  std::chrono::seconds maxKeyFrameIntervalDuration{10};
};

/// A stream's share of the client's link.
struct LinkRates {
  std::int64_t bitRate = 0;       // bits per second
  int frameRate = 0;              // pictures per second
  std::int64_t pictureBytes = 0;  // per picture; a key frame may take a few times as much

  bool operator==(const LinkRates&) const = default;
};

struct CompressionRates {
  int expectedFrameRate = 60;
  std::int64_t averageBitRate = 2'000'000;              // bits per second
  std::int64_t dataRateLimitBytes = 0;                  // at most this many bytes ...
  std::chrono::milliseconds dataRateLimitWindow{1000};  // ... in any window of this length
  std::optional<LinkRates> link{};                      // further limits, none above these

  bool operator==(const CompressionRates&) const = default;
};

enum class PictureContent : std::uint8_t {
  changed,
  repeated,  // the previous picture again, to sharpen it or as a key frame
};

struct CompressionRequest {
  std::shared_ptr<const PictureBuffer> image;
  std::chrono::microseconds presentationTime{};
  bool forceKeyFrame = false;
  PictureContent content = PictureContent::changed;
  /// A hint: what differs from the previous picture. Empty means all of it, unless it is repeated.
  std::vector<PixelRect> changed;
};

/// How coarse an encoded picture is, as its mean quantiser in H.264 or HEVC: 0 (lossless) to 51.
struct Coarseness {
  float quantizer = -1.0F;  // negative when unknown
  float sharp = 26.0F;      // the quantiser that counts as sharp

  bool isWorthRepeating() const { return quantizer > sharp; }
};

struct CompressedPicture {
  /// An access unit: NAL units, each with a 4-byte big-endian length (ISO/IEC 14496-15). Absent for a picture
  /// that the encoder dropped.
  SharedBytes data;
  bool isKeyFrame = false;
  std::chrono::microseconds presentationTime{};
  /// The decoder configuration in force: AVCDecoderConfigurationRecord ("avcC") or
  /// HEVCDecoderConfigurationRecord ("hvcC"), ISO/IEC 14496-15. The same object while it does not change.
  SharedBytes configurationRecord;
  Coarseness coarseness;
};

/// One encoder. Each picture gives one output, in order; the output of a dropped picture has no data.
///
/// *Queue*: operations from one queue at a time. The output handler runs on the caller's thread or on a
/// thread of the encoder.
/// *Blocking*: `encode` may do the encoding on the caller's thread. `prepare`, `completeAndInvalidate` and
/// destruction may wait for the encoder's threads or its device; callers use `Scheduler::blocking`.
/// *Ownership*: shares pictures until they are encoded; keeps the output handler.
/// *Lifetime*: destruction waits for pending pictures and drops their output.
class VideoCompressor {
 public:
  using Output = std::function<void(CompressedPicture)>;

  virtual ~VideoCompressor() = default;
  virtual void setRates(const CompressionRates& rates) = 0;
  /// Allocates what the first picture needs, so that it is not delayed.
  virtual void prepare() = 0;
  virtual void encode(const CompressionRequest& request) = 0;
  /// Waits for the output of all pending pictures and ends the encoder. `encode` does nothing afterwards.
  virtual void completeAndInvalidate() = 0;
};

/// Creates encoders. The choice between hardware and software is made once.
///
/// *Queue*: any thread.
/// *Blocking*: `make` may open a device; callers use `Scheduler::blocking`.
/// *Ownership*: the encoder belongs to the caller.
/// *Lifetime*: encoders may outlive it.
class VideoCompressorFactory {
 public:
  virtual ~VideoCompressorFactory() = default;
  /// The error's `status` is the reason why there is no such encoder.
  virtual std::expected<std::unique_ptr<VideoCompressor>, PortError> make(
      const CompressorSpecification& specification, VideoCompressor::Output output) = 0;
};

}  // namespace quorl
