// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Display/StreamEncoder.h>

#include <utility>

namespace quorl {

namespace {

PictureFeed::Surroundings feedSurroundings(const StreamClient& client,
                                           const std::shared_ptr<VideoEncoder>& encoder,
                                           std::function<void()> request) {
  PictureFeed::Surroundings surroundings;
  surroundings.admit = [client, encoder](std::function<void()> whenOpen) {
    return client.admit(encoder->wantedRate(), std::move(whenOpen));
  };
  surroundings.request = std::move(request);
  return surroundings;
}

// The encoder's callbacks run on its own threads.
void connect(VideoEncoder& encoder, const SerialQueue& queue, const std::weak_ptr<PictureFeed>& feed,
             const StreamClient& client) {
  encoder.onCodecConfig = [client](SharedBytes record) { client.sendConfiguration(std::move(record)); };
  encoder.onEncodedChunk = [client, queue, feed](const VideoEncoder::EncodedChunk& chunk) {
    client.sendPicture(chunk);
    queue.async([feed, coarseness = chunk.coarseness] {
      if (auto strong = feed.lock()) strong->pictureEncoded(coarseness);
    });
  };
  encoder.onDropped = [queue, feed] {
    queue.async([feed] {
      if (auto strong = feed.lock()) strong->pictureDropped();
    });
  };
}

}  // namespace

std::expected<StreamEncoder, WireError> StreamEncoder::make(
    const SerialQueue& queue, VideoCompressorFactory& compressors, const VideoEncoder::Parameters& parameters,
    Duration frameInterval, const StreamClient& client, std::function<void()> request) {
  std::expected<std::shared_ptr<VideoEncoder>, WireError> encoder;
  queue.scheduler().blocking([&] { encoder = VideoEncoder::create(compressors, parameters); });
  if (!encoder) return std::unexpected(encoder.error());
  StreamEncoder made;
  made.encoder = std::move(*encoder);
  made.feed = std::make_shared<PictureFeed>(
      queue, made.encoder, feedSurroundings(client, made.encoder, std::move(request)), frameInterval);
  connect(*made.encoder, queue, made.feed, client);
  return made;
}

void StreamEncoder::end(const SerialQueue& queue) {
  feed.reset();
  if (encoder) queue.scheduler().blocking([this] { encoder->completeAndInvalidate(); });
  encoder.reset();
}

}  // namespace quorl
