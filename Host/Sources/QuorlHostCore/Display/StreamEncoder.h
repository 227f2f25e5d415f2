// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <expected>
#include <functional>
#include <memory>

#include <QuorlHostCore/Concurrency/SerialQueue.h>
#include <QuorlHostCore/Display/PictureFeed.h>
#include <QuorlHostCore/Display/StreamClient.h>
#include <QuorlHostCore/Display/VideoEncoder.h>
#include <QuorlKit/Protocol/Handshake.h>

namespace quorl {

/// The encoder of one run of a stream, and the feed that gives it pictures.
///
/// *Queue*: the stream's.
/// *Blocking*: creation and `end` wait for the encoder as blocking work.
/// *Ownership*: the stream session's.
/// *Lifetime*: destruction ends the encoder. Output that is still posted is dropped.
struct StreamEncoder {
  std::shared_ptr<VideoEncoder> encoder;
  std::shared_ptr<PictureFeed> feed;

  /// `request` asks the capture for a picture, on the queue.
  static std::expected<StreamEncoder, WireError> make(const SerialQueue& queue,
                                                      VideoCompressorFactory& compressors,
                                                      const VideoEncoder::Parameters& parameters,
                                                      Duration frameInterval, const StreamClient& client,
                                                      std::function<void()> request);
  /// Completes the pictures in the encoder and drops both.
  void end(const SerialQueue& queue);
};

}  // namespace quorl
