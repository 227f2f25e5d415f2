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

/// One compression session for one stream: chooses the rates from the client's quality, falls back from HEVC
/// to H.264, tells the decoder configuration apart from the pictures, and requests key frames.
///
/// *Queue*: all operations and `forceNextKeyframe` belong to the stream's queue. The callbacks run wherever
/// the compressor delivers: inside `encode` or on a thread of its own.
/// *Ownership*: the stream session. *Lifetime*: the compressor holds it weakly; its release ends the session.
class VideoEncoder : public std::enable_shared_from_this<VideoEncoder> {
 public:
  struct EncodedChunk {
    SharedBytes data;  // an access unit, each NAL unit behind its 4-byte big-endian length
    bool isKeyframe = false;
    std::uint64_t ptsMicros = 0;
    Coarseness coarseness;
  };

  /// What a new encoder is made from; `fps` and `quality` may be out of range and are clamped where used.
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

  /// `changed`: what may differ from the picture encoded before; empty: all of it.
  void encode(std::shared_ptr<const PictureBuffer> image, std::chrono::microseconds presentationTime,
              std::vector<PixelRect> changed);
  /// The picture encoded before, once more.
  void encodeAgain(std::shared_ptr<const PictureBuffer> image, std::chrono::microseconds presentationTime);
  void applyRateControl(int fps, double quality);
  /// What the client's link leaves to the next pictures.
  void applyBudget(const PictureBudget& budget);
  /// The rate that the quality asks for, in bytes per second.
  double wantedRate() const { return static_cast<double>(rates_.averageBitRate) / 8; }
  /// Lets pending pictures come out and ends the session; later pictures are ignored.
  void completeAndInvalidate();

  PixelSize size() const { return size_; }
  VideoCodec codec() const { return codec_; }  // h264 after a fallback
  int fps() const { return fps_; }
  double quality() const { return quality_; }

  // Set once, before the first picture.
  std::function<void(SharedBytes)> onCodecConfig;
  std::function<void(const EncodedChunk&)> onEncodedChunk;
  /// Called where a picture that went in does not come out.
  std::function<void()> onDropped;

  /// One-shot: the next picture is a key frame.
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
