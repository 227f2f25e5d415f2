// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Picture/SmoothScaler.h>

#include <algorithm>
#include <cstring>
#include <limits>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include <quorl-viewer/Picture/PictureRows.h>

namespace quorl::viewer {
namespace {

// Vector types of the compiler (GCC and clang): one code for every processor. A sum of weighted bytes is at
// most 255 * 256, and fits with half a unit into 16 bits.
using Bytes8 = std::uint8_t __attribute__((vector_size(8)));
using Words8 = std::uint16_t __attribute__((vector_size(16)));
constexpr std::uint16_t half = 128;

inline Words8 wordsAt(const std::uint8_t* bytes) {
#if defined(__SSE2__)
  // GCC makes four instructions of the conversion below, in the innermost loop.
  const auto loaded = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(bytes));
  return reinterpret_cast<Words8>(_mm_unpacklo_epi8(loaded, _mm_setzero_si128()));
#else
  Bytes8 loaded;
  std::memcpy(&loaded, bytes, sizeof loaded);
  return __builtin_convertvector(loaded, Words8);
#endif
}

inline void store(Words8 sums, std::uint8_t* bytes) {
  const Bytes8 result = __builtin_convertvector((sums + half) >> 8, Bytes8);
  std::memcpy(bytes, &result, sizeof result);
}

inline Words8 load(const void* words) {
  Words8 loaded;
  std::memcpy(&loaded, words, sizeof loaded);
  return loaded;
}

// Both sizes are multiples of 8 bytes; buffers are padded.
void blendTwo(const std::uint8_t* upper, std::uint16_t upperWeight, const std::uint8_t* lower,
              std::uint16_t lowerWeight, std::uint8_t* pixels, std::size_t size) {
  std::size_t at = 0;
  for (; at + 8 <= size; at += 8)
    store(wordsAt(upper + at) * upperWeight + wordsAt(lower + at) * lowerWeight, pixels + at);
  for (; at < size; ++at)
    pixels[at] = static_cast<std::uint8_t>((upper[at] * upperWeight + lower[at] * lowerWeight + half) >> 8);
}

void addWeighted(const std::uint8_t* pixels, std::uint16_t weight, std::uint16_t* sums, std::size_t size) {
  for (std::size_t at = 0; at < size; at += 8) {
    const Words8 sum = load(sums + at) + wordsAt(pixels + at) * weight;
    std::memcpy(sums + at, &sum, sizeof sum);
  }
}

std::size_t paddedTo8(std::size_t size) {
  return (size + 7) / 8 * 8;
}

}  // namespace

void SmoothScaler::prepare(const Columns& columns) {
  if (columns == columns_) return;
  columns_ = columns;
  std::vector<Taps> all;
  sourceBegin_ = std::numeric_limits<int>::max();
  sourceEnd_ = 0;
  std::size_t most = 0;
  for (int column = columns.begin; column < columns.end; ++column) {
    const auto& taps = all.emplace_back(tapsOf(column, columns.source, columns.destination));
    sourceBegin_ = std::min(sourceBegin_, taps.first);
    sourceEnd_ = std::max(sourceEnd_, taps.end());
    most = std::max(most, taps.weights.size());
  }
  pairs_ = (most + 1) / 2;
  firsts_.clear();
  weights_.assign(all.size() * pairs_, {});
  for (std::size_t column = 0; column < all.size(); ++column) {
    firsts_.push_back(all[column].first - sourceBegin_);
    for (std::size_t tap = 0; tap < all[column].weights.size(); ++tap)
      std::fill_n(weights_[column * pairs_ + tap / 2].begin() + (tap % 2) * 4, 4, all[column].weights[tap]);
  }
  // A column may read pixels beyond the last one, with a weight of 0.
  converted_.assign((static_cast<std::size_t>(sourceEnd_ - sourceBegin_) + 2 * pairs_) * bytesPerPixel, 0);
}

// One pair is the usual case, from 2:3 up; the compiler then has no inner loop.
template <bool isOnePair>
void SmoothScaler::scaleColumns(std::uint8_t* pixels) const {
  const auto* const weights = weights_.data();
  const auto* const source = converted_.data();
  const auto* const firsts = firsts_.data();
  const std::size_t pairs = isOnePair ? 1 : pairs_;
  const auto sumOf = [=](std::size_t column) {
    const auto* from = source + static_cast<std::size_t>(firsts[column]) * bytesPerPixel;
    Words8 sum = wordsAt(from) * load(weights + column * pairs);
    for (std::size_t pair = 1; pair < pairs; ++pair)
      sum += wordsAt(from + pair * 2 * bytesPerPixel) * load(weights + column * pairs + pair);
    return sum;
  };
  const auto storeTwo = [](Words8 first, Words8 second, std::uint8_t* out) {
    store(__builtin_shufflevector(first, second, 0, 1, 2, 3, 8, 9, 10, 11) +
              __builtin_shufflevector(first, second, 4, 5, 6, 7, 12, 13, 14, 15),
          out);
  };
  const std::size_t count = firsts_.size();
  for (std::size_t column = 0; column + 1 < count; column += 2)
    storeTwo(sumOf(column), sumOf(column + 1), pixels + column * bytesPerPixel);
  if (count % 2 == 1) storeTwo(sumOf(count - 1), Words8{}, pixels + (count - 1) * bytesPerPixel);
}

const std::uint8_t* SmoothScaler::row(const client::PicturePlanes& picture, const PixelRect& source,
                                      int number) {
  for (auto& kept : rows_)
    if (kept.number == number) {
      older_ = &kept == &rows_[0] ? 1 : 0;
      return kept.pixels.data();
    }
  auto& fresh = rows_[older_];
  older_ = 1 - older_;
  convertPart(picture, {source.x + sourceBegin_, source.y + number, sourceEnd_ - sourceBegin_, 1},
              converted_.data(), converted_.size());
  if (pairs_ == 1)
    scaleColumns<true>(fresh.pixels.data());
  else
    scaleColumns<false>(fresh.pixels.data());
  fresh.number = number;
  return fresh.pixels.data();
}

void SmoothScaler::blend(const client::PicturePlanes& picture, const PixelRect& source, const Taps& taps,
                         std::uint8_t* pixels) {
  const std::size_t size = firsts_.size() * bytesPerPixel;
  const auto& weights = taps.weights;
  if (weights.size() <= 2) {
    const auto* upper = row(picture, source, taps.first);
    if (weights.size() == 1) {
      std::memcpy(pixels, upper, size);
      return;
    }
    blendTwo(upper, weights[0], row(picture, source, taps.first + 1), weights[1], pixels, size);
    return;
  }
  std::ranges::fill(sums_, half);
  for (std::size_t tap = 0; tap < weights.size(); ++tap)
    if (weights[tap] > 0)
      addWeighted(row(picture, source, taps.first + static_cast<int>(tap)), weights[tap], sums_.data(),
                  sums_.size());
  for (std::size_t at = 0; at < size; ++at) pixels[at] = static_cast<std::uint8_t>(sums_[at] >> 8);
}

void SmoothScaler::scale(const client::PicturePlanes& picture, const PixelRect& source,
                         const PixelRect& destination, const PixelRect& clip, std::uint8_t* pixels,
                         std::size_t stride) {
  if (clip.isEmpty()) return;
  prepare({source.width, destination.width, clip.x - destination.x, clip.maxX() - destination.x});
  const std::size_t rowSize = paddedTo8(firsts_.size() * bytesPerPixel);
  for (auto& kept : rows_) {
    kept.number.reset();
    kept.pixels.resize(rowSize);
  }
  sums_.resize(rowSize);
  for (int y = clip.y; y < clip.maxY(); ++y)
    blend(picture, source, tapsOf(y - destination.y, source.height, destination.height),
          pixels + static_cast<std::size_t>(y - clip.y) * stride);
}

}  // namespace quorl::viewer
