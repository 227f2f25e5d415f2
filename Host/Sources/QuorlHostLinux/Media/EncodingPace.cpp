// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Media/EncodingPace.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <random>
#include <vector>

#include <QuorlHostLinux/Media/SoftwareEncoding.h>

namespace quorl {

namespace {

constexpr PixelSize measuredSize{960, 540};
constexpr int measuredPictures = 6;
constexpr int scrolledRows = 12;  // a picture
constexpr unsigned grain = 16;    // levels
constexpr std::uint8_t noColour = 128;
constexpr std::chrono::microseconds interval{33'333};
constexpr std::chrono::minutes memory{10};
// The middle of the rates a client can request, at 30 pictures per second.
constexpr double bitsPerPixel = 0.11;

// A part of a taller page, with new grain in each picture, like a video.
class MovingPicture : public PictureBuffer {
 public:
  MovingPicture(const PictureBuffer& page, PixelSize part, int step) {
    const auto width = static_cast<std::size_t>(part.width);
    const auto height = static_cast<std::size_t>(part.height);
    bytes_.assign(width * height * 3 / 2, noColour);
    const auto* first = page.luma + static_cast<std::size_t>(step * scrolledRows) * page.lumaStride;
    std::minstd_rand random(static_cast<std::uint32_t>(step) + 1);
    for (std::size_t row = 0; row < height; ++row)
      for (std::size_t column = 0; column < width; ++column)
        bytes_[row * width + column] =
            static_cast<std::uint8_t>(first[row * page.lumaStride + column] - random() % grain);
    size = part;
    lumaStride = width;
    chromaStride = width;
    luma = bytes_.data();
    chroma = bytes_.data() + width * height;
  }

 private:
  std::vector<std::uint8_t> bytes_;
};

CompressionRates ordinaryRates() {
  CompressionRates rates;
  rates.expectedFrameRate = 30;
  rates.averageBitRate =
      static_cast<std::int64_t>(bitsPerPixel * 30 * measuredSize.width * measuredSize.height);
  rates.dataRateLimitBytes = rates.averageBitRate * 3 / 16;
  return rates;
}

std::chrono::microseconds inProportion(std::chrono::microseconds time, PixelSize size) {
  const double share = static_cast<double>(size.width) * size.height /
                       (static_cast<double>(measuredSize.width) * measuredSize.height);
  return std::chrono::microseconds(static_cast<std::int64_t>(static_cast<double>(time.count()) * share));
}

}  // namespace

std::optional<std::chrono::microseconds> EncodingPace::pictureTime(const VideoBackend& backend,
                                                                   PixelSize size) {
  const std::lock_guard lock(mutex_);
  const auto known = measured_.find(backend.name);
  if (known != measured_.end() && now_() - known->second.at < memory)
    return inProportion(known->second.time, size);
  const auto time = measure(backend);
  if (!time) return std::nullopt;
  measured_[backend.name] = {*time, now_()};
  return inProportion(*time, size);
}

std::optional<std::chrono::microseconds> EncodingPace::measure(const VideoBackend& backend) const {
  CompressorSpecification specification;
  specification.size = measuredSize;
  specification.codec = backend.codec;
  const auto made = backend.make(specification, [](const CompressedPicture&) {});
  if (!made) return std::nullopt;
  VideoCompressor& compressor = **made;
  compressor.setRates(ordinaryRates());
  const WarmUpPicture page({measuredSize.width, measuredSize.height + scrolledRows * measuredPictures}, 0);
  auto quickest = std::chrono::microseconds::max();
  for (int step = 0; step <= measuredPictures; ++step) {
    CompressionRequest request;
    request.image = std::make_shared<MovingPicture>(page, measuredSize, step);
    request.presentationTime = interval * step;
    const auto begin = now_();
    compressor.encode(request);
    if (step > 0) quickest = std::min(quickest, now_() - begin);  // the first is a key frame
  }
  compressor.completeAndInvalidate();
  return quickest;
}

}  // namespace quorl
