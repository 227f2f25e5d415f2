// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Media/SoftwareCompressor.h>

#include <memory>
#include <utility>

namespace quorl {

namespace {

constexpr std::uint32_t warmUpPages = 4;
constexpr int warmUpQuantizer = 26;

}  // namespace

SoftwareCompressor::SoftwareCompressor(const CompressorSpecification& specification, Output output,
                                       int coarsestQuantizer)
    : specification_(specification),
      output_(std::move(output)),
      control_(specification.size, coarsestQuantizer),
      keyFrames_(specification.maxKeyFrameIntervalDuration) {}

// The first pictures of an encoder take up to ten times as long as later ones.
void SoftwareCompressor::prepare() {
  if (!isOpen()) return;
  for (std::uint32_t page = 0; page < warmUpPages; ++page)
    compress({.image = std::make_shared<WarmUpPicture>(size(), page)},
             page % 2 == 0 ? PictureType::key : PictureType::predicted, warmUpQuantizer);
}

void SoftwareCompressor::encode(const CompressionRequest& request) {
  if (!isOpen() || !request.image || request.image->size != size()) return output_({});
  const bool isKey = request.forceKeyFrame || keyFrames_.isDue(request.presentationTime);
  PictureType type = isKey ? PictureType::key : PictureType::predicted;
  const int quantizer = control_.choose(measured(request, type));
  // Motion search without a match takes half of the time and more bits.
  if (!isKey && control_.isCheapAsNew() && isAllDifferent(request)) type = PictureType::fresh;
  auto result = compress(request, type, quantizer);
  if (!result) return output_({});
  encoded_ = request.image;
  control_.encoded(static_cast<std::int64_t>(result->data->size()) * 8);
  result->coarseness = {static_cast<float>(quantizer), static_cast<float>(control_.finest())};
  result->presentationTime = request.presentationTime;
  if (result->isKeyFrame) keyFrames_.keyFrameAt(request.presentationTime);
  output_(std::move(*result));
}

bool SoftwareCompressor::isAllDifferent(const CompressionRequest& request) const {
  constexpr double nearlyAll = 0.9;
  double changed = 0;
  for (const PixelRect& rect : request.changed) {
    const PixelRect part = rect.intersectionWith(PixelRect::of(size()));
    changed += static_cast<double>(part.width) * part.height;
  }
  const bool mayBeAll = request.changed.empty() || changed >= nearlyAll * size().width * size().height;
  return mayBeAll && encoded_ && differingShare(*request.image, *encoded_) >= nearlyAll;
}

QuantizerControl::Picture SoftwareCompressor::measured(const CompressionRequest& request,
                                                       PictureType type) const {
  const PictureBuffer& image = *request.image;
  QuantizerControl::Picture picture;
  picture.presentationTime = request.presentationTime;
  const bool isKey = type == PictureType::key;
  const bool isAllNew = request.content == PictureContent::changed && request.changed.empty();
  if (isKey || isAllNew || control_.sharpensAll()) picture.whole = PictureDetail::ofWhole(image);
  if (isKey)
    picture.kind = QuantizerControl::Kind::key;
  else if (request.content == PictureContent::repeated)
    picture.kind = QuantizerControl::Kind::repeat;
  else
    picture.changed = isAllNew ? *picture.whole : PictureDetail(image, request.changed);
  return picture;
}

}  // namespace quorl
