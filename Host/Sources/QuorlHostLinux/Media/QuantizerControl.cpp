// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Media/QuantizerControl.h>

#include <algorithm>
#include <cmath>

namespace quorl {

namespace {

// Bit budget for one change, in pictures' shares of the rate: the first change after a pause, which should
// arrive soon, and one of a series, which should look good.
constexpr double firstShare = 0.5;
constexpr double followingShare = 1.5;

// The share of the available bits for one picture: changes continue, a key frame is alone.
constexpr double shareForChange = 0.5;
constexpr double shareForRepeat = 0.5;
constexpr double shareForKey = 0.7;

// A key frame may occupy the link for the time of this many pictures: nothing in it is predicted.
constexpr double keyFactor = 3;

constexpr std::chrono::milliseconds motionMemory{150};
constexpr double leastMotion = 0.1;
constexpr double mostMotion = 2;
constexpr double motionLearning = 0.5;

// The quantiser at the middle of the rates' range, and the steps for a doubling of the rate.
constexpr double middleBitsPerPixel = 0.11;
constexpr double middleQuantizer = 22;
constexpr double stepsPerDoubling = 2;

int quantizerFor(const CompressionRates& rates, PixelSize size) {
  const double pixelsPerSecond =
      static_cast<double>(std::max(rates.expectedFrameRate, 1)) * size.width * size.height;
  const double bitsPerPixel = static_cast<double>(rates.averageBitRate) / pixelsPerSecond;
  const double quantizer = middleQuantizer - stepsPerDoubling * std::log2(bitsPerPixel / middleBitsPerPixel);
  return static_cast<int>(std::lround(std::clamp(quantizer, 18.0, 26.0)));
}

double shareFor(QuantizerControl::Kind kind) {
  switch (kind) {
    case QuantizerControl::Kind::change:
      return shareForChange;
    case QuantizerControl::Kind::repeat:
      return shareForRepeat;
    case QuantizerControl::Kind::key:
      return shareForKey;
  }
  return shareForChange;
}

}  // namespace

void QuantizerControl::setRates(const CompressionRates& rates) {
  bucket_.setRate(rates.averageBitRate);
  link_.setRates(rates.link);
  const double bitRate = static_cast<double>(rates.link ? rates.link->bitRate : rates.averageBitRate);
  bitsPerPicture_ = bitRate / std::max(rates.link ? rates.link->frameRate : rates.expectedFrameRate, 1);
  finest_ = quantizerFor(rates, size_);
}

int QuantizerControl::choose(const Picture& picture) {
  const bool isFirst = !lastChange_ || picture.presentationTime - *lastChange_ > motionMemory;
  if (picture.kind == Kind::change) lastChange_ = picture.presentationTime;
  // After a pause, about half of the next changes are new content.
  if (isFirst) motion_ = 1;
  bucket_.advance(picture.presentationTime);
  link_.advance(picture.presentationTime);
  int quantizer = finest_;
  if (picture.kind == Kind::change)
    quantizer = firstWithin(picture, finest_, std::max(finest_, pleasant),
                            bitsPerPicture_ * (isFirst ? firstShare : followingShare));
  double allowance = std::max(0.0, bucket_.available()) * shareFor(picture.kind);
  if (const auto share = link_.available())
    allowance = std::min(allowance, *share * (picture.kind == Kind::key ? keyFactor : 1));
  quantizer = firstWithin(picture, quantizer, coarsest_, allowance);
  choice_ = {picture.kind, quantizer, picture.changed.bitsAt(quantizer)};
  choice_.isCheapAsNew =
      picture.kind == Kind::change && isFirst && choice_.bitsAsNew <= bitsPerPicture_ * firstShare;
  return quantizer;
}

void QuantizerControl::encoded(std::int64_t bits) {
  bucket_.spend(bits);
  link_.spend(static_cast<double>(bits));
  const bool wasAllChange = choice_.kind == Kind::change && choice_.quantizer >= shown_;
  shown_ = choice_.quantizer;
  if (!wasAllChange || choice_.bitsAsNew <= 0) return;
  const double seen = std::clamp(static_cast<double>(bits) / choice_.bitsAsNew, leastMotion, mostMotion);
  motion_ += (seen - motion_) * motionLearning;
}

double QuantizerControl::expectedBits(const Picture& picture, int quantizer) const {
  if (picture.kind == Kind::key) return picture.whole ? picture.whole->bitsAt(quantizer) : 0;
  double bits = picture.changed.bitsAt(quantizer) * motion_;
  // Unchanged parts are encoded again only if that makes them finer.
  const auto restAt = [&picture](int at) { return picture.whole->bitsAt(at) - picture.changed.bitsAt(at); };
  if (quantizer < shown_ && picture.whole) bits += std::max(0.0, restAt(quantizer) - restAt(shown_));
  return bits;
}

int QuantizerControl::firstWithin(const Picture& picture, int from, int to, double allowance) const {
  // The bits fall as the quantiser rises.
  int finer = from;
  int coarser = std::max(from, to);
  while (finer < coarser) {
    const int middle = (finer + coarser) / 2;
    if (expectedBits(picture, middle) <= allowance)
      coarser = middle;
    else
      finer = middle + 1;
  }
  return finer;
}

}  // namespace quorl
