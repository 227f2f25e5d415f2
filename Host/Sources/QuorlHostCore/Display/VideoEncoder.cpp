// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Display/VideoEncoder.h>

#include <cstdlib>

#include <fmt/format.h>

#include <QuorlHostCore/Display/RateControl.h>
#include <QuorlHostCore/Log/Log.h>

namespace quorl {

namespace {

std::uint64_t microsOf(std::chrono::microseconds time) {
  return time.count() < 0 ? 0 : static_cast<std::uint64_t>(time.count());
}

// Changes of the rate below this are not passed to the encoder.
bool isNearly(const std::optional<LinkRates>& link, const std::optional<LinkRates>& known) {
  if (!link || !known) return link == known;
  const auto difference = link->pictureBytes - known->pictureBytes;
  return std::abs(difference) * 20 <= known->pictureBytes && link->bitRate == known->bitRate;
}

}  // namespace

VideoEncoder::VideoEncoder(const Parameters& parameters)
    : size_(parameters.size), codec_(parameters.codec), fps_(parameters.fps), quality_(parameters.quality) {}

std::expected<std::shared_ptr<VideoEncoder>, WireError> VideoEncoder::create(VideoCompressorFactory& factory,
                                                                             const Parameters& parameters) {
  std::shared_ptr<VideoEncoder> encoder(new VideoEncoder(parameters));
  if (auto opened = encoder->open(factory); !opened) return std::unexpected(opened.error());
  return encoder;
}

VideoEncoder::~VideoEncoder() {
  completeAndInvalidate();
}

std::expected<void, WireError> VideoEncoder::open(VideoCompressorFactory& factory) {
  const auto make = [&] {
    CompressorSpecification specification;
    specification.size = size_;
    specification.codec = codec_;
    return factory.make(specification, [weak = weak_from_this()](const CompressedPicture& picture) {
      if (auto self = weak.lock()) self->handle(picture);
    });
  };
  auto session = make();
  if (!session && codec_ == VideoCodec::hevc) {
    Log::stream.info(
        fmt::format("HEVC session create failed ({}); falling back to H.264", session.error().status));
    codec_ = VideoCodec::h264;
    session = make();
  }
  if (!session)
    return std::unexpected(WireError{
        "stream.encoder", fmt::format("VTCompressionSessionCreate failed ({})", session.error().status)});
  session_ = std::move(*session);
  applyRateControl(fps_, quality_);
  session_->prepare();
  return {};
}

void VideoEncoder::applyRateControl(int fps, double quality) {
  fps_ = fps;
  quality_ = quality;
  const auto link = rates_.link;
  rates_ = compressionRates(size_, fps, quality);
  rates_.link = link;
  if (session_) session_->setRates(rates_);
}

void VideoEncoder::applyBudget(const PictureBudget& budget) {
  const auto link = linkRates(rates_, size_, budget.bytesPerSecond);
  if (isNearly(link, rates_.link)) return;
  rates_.link = link;
  if (session_) session_->setRates(rates_);
}

void VideoEncoder::encode(std::shared_ptr<const PictureBuffer> image,
                          std::chrono::microseconds presentationTime, std::vector<PixelRect> changed) {
  submit({.image = std::move(image), .presentationTime = presentationTime, .changed = std::move(changed)});
}

void VideoEncoder::encodeAgain(std::shared_ptr<const PictureBuffer> image,
                               std::chrono::microseconds presentationTime) {
  submit(
      {.image = std::move(image), .presentationTime = presentationTime, .content = PictureContent::repeated});
}

void VideoEncoder::submit(CompressionRequest request) {
  if (!session_) {
    if (onDropped) onDropped();
    return;
  }
  request.forceKeyFrame = std::exchange(forceNextKeyframe, false);
  session_->encode(request);
}

void VideoEncoder::completeAndInvalidate() {
  if (!session_) return;
  session_->completeAndInvalidate();
  session_.reset();
}

void VideoEncoder::handle(const CompressedPicture& picture) {
  if (!picture.data) {
    if (onDropped) onDropped();
    return;
  }
  if (isNewConfiguration(picture.configurationRecord) && onCodecConfig)
    onCodecConfig(picture.configurationRecord);
  if (!onEncodedChunk) return;
  onEncodedChunk({.data = picture.data,
                  .isKeyframe = picture.isKeyFrame,
                  .ptsMicros = microsOf(picture.presentationTime),
                  .coarseness = picture.coarseness});
}

bool VideoEncoder::isNewConfiguration(const SharedBytes& record) {
  if (!record || record->empty()) return false;
  std::lock_guard lock(configLock_);
  if (lastConfigAtom_ && (lastConfigAtom_ == record || *lastConfigAtom_ == *record)) return false;
  lastConfigAtom_ = record;
  return true;
}

}  // namespace quorl
