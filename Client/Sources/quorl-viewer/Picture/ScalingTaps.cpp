// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Picture/ScalingTaps.h>

#include <algorithm>

namespace quorl::viewer {
namespace {

constexpr std::int64_t whole = 256;

// The centre of the destination pixel lies between the centres of two source pixels.
Taps interpolated(std::int64_t index, std::int64_t source, std::int64_t destination) {
  const std::int64_t unit = 2 * destination;
  const std::int64_t position = (2 * index + 1) * source - destination;  // in 1/unit pixels
  if (position <= 0) return {0, {whole}};
  const std::int64_t left = position / unit;
  if (left >= source - 1) return {static_cast<int>(source - 1), {whole}};
  const auto right = ((position % unit) * whole + destination) / unit;
  if (right == 0) return {static_cast<int>(left), {whole}};
  if (right == whole) return {static_cast<int>(left + 1), {whole}};
  return {static_cast<int>(left),
          {static_cast<std::uint16_t>(whole - right), static_cast<std::uint16_t>(right)}};
}

// Weights are differences of rounded sums, so their sum is exact however many there are.
Taps averaged(std::int64_t index, std::int64_t source, std::int64_t destination) {
  const std::int64_t begin = index * source;  // in 1/destination pixels
  const std::int64_t first = begin / destination;
  const std::int64_t end = (begin + source + destination - 1) / destination;
  Taps taps{static_cast<int>(first), {}};
  std::int64_t before = 0;
  for (std::int64_t pixel = first; pixel < end; ++pixel) {
    const auto covered = std::min((pixel + 1) * destination - begin, source);
    const auto sum = (covered * whole + source / 2) / source;
    taps.weights.push_back(static_cast<std::uint16_t>(sum - before));
    before = sum;
  }
  return taps;
}

}  // namespace

Taps tapsOf(int index, int source, int destination) {
  return source > destination ? averaged(index, source, destination)
                              : interpolated(index, source, destination);
}

}  // namespace quorl::viewer
