// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstdint>
#include <expected>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include <QuorlHostCore/Concurrency/ThreadSafety.h>
#include <QuorlHostCore/Link/PictureBudget.h>
#include <QuorlHostCore/Ports/ScreenCapture.h>
#include <QuorlHostCore/Ports/VideoCompressor.h>
#include <QuorlKit/Foundation/ByteView.h>
#include <QuorlKit/Models/Models.h>
#include <QuorlKit/Protocol/Handshake.h>

namespace quorl {

/// One compression session for one stream: derives the rates from the client's quality, falls back from HEVC
/// to H.264, separates the decoder configuration from the pictures, and requests key frames.
///
/// *Queue*: the stream's, for all operations and `forceNextKeyframe`. Callbacks run inside `encode` or on a
/// thread of the compressor.
/// *Blocking*: as `VideoCompressor`; `create` and `completeAndInvalidate` are called as blocking work.
/// *Ownership*: the stream session's.
/// *Lifetime*: the compressor holds it weakly. Destruction ends the session.
class VideoEncoder : public std::enable_shared_from_this<VideoEncoder> {
 public:
  struct EncodedChunk {
    SharedBytes data;  // an access unit: NAL units with a 4-byte big-endian length each
    bool isKeyframe = false;
    std::uint64_t ptsMicros = 0;
    Coarseness coarseness;
  };

  /// Values out of range of `fps` and `quality` are clamped where they are used.
  struct Parameters {
    PixelSize size;
    VideoCodec codec = VideoCodec::hevc;
    int fps = 60;
    double quality = 0.5;
  };

  /// Fails with the code "stream.encoder".
  static std::expected<std::shared_ptr<VideoEncoder>, WireError> create(VideoCompressorFactory& factory,
                                                                        const Parameters& parameters);
  VideoEncoder(const VideoEncoder&) = delete;
  VideoEncoder& operator=(const VideoEncoder&) = delete;
  ~VideoEncoder();

  /// `changed`: what may differ from the previous picture. Empty means all of it.
  void encode(std::shared_ptr<const PictureBuffer> image, std::chrono::microseconds presentationTime,
              std::vector<PixelRect> changed);
  /// Encodes the previous picture again.
  void encodeAgain(std::shared_ptr<const PictureBuffer> image, std::chrono::microseconds presentationTime);
  void applyRateControl(int fps, double quality);
  /// The link's budget for the next pictures.
  void applyBudget(const PictureBudget& budget);
  /// The rate for the current quality, in bytes per second.
  double wantedRate() const { return static_cast<double>(rates_.averageBitRate) / 8; }
  /// Waits for the output of pending pictures and ends the session. Later pictures are ignored.
  void completeAndInvalidate();

  PixelSize size() const { return size_; }
  VideoCodec codec() const { return codec_; }  // h264 after a fallback
  int fps() const { return fps_; }
  double quality() const { return quality_; }

  // Set once, before the first picture.
  std::function<void(SharedBytes)> onCodecConfig;
  std::function<void(const EncodedChunk&)> onEncodedChunk;
  /// Called for each picture that gives no output.
  std::function<void()> onDropped;

  /// One-shot: makes the next picture a key frame.
  bool forceNextKeyframe = false;

 private:
  VideoEncoder(const Parameters& parameters);
  std::expected<void, WireError> open(VideoCompressorFactory& factory);
  void submit(CompressionRequest request);
  void handle(const CompressedPicture& picture);
  bool isNewConfiguration(const SharedBytes& record);

  const PixelSize size_;
  VideoCodec codec_;
  int fps_;
  double quality_;
  CompressionRates rates_;
  std::unique_ptr<VideoCompressor> session_;

  std::mutex configLock_;
  SharedBytes lastConfigAtom_;  // guarded by configLock_
};

}  // namespace quorl
