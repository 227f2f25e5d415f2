// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Media/PictureDetail.h>

#include <algorithm>
#include <cmath>

namespace quorl {

namespace {

constexpr int blockSide = 4;
constexpr int macroblockArea = 256;
// Sample every Nth row, with the row below it.
constexpr int rowStep = 16;
// Rows to compare to find whether two pictures have anything in common.
constexpr int comparedRows = 16;
// Found by encoding photographs with grain, noise and pages of text at quantisers of 18 to 50.
constexpr double bitsPerOctave = 22;
constexpr double visibleShareOfStep = 0.66;
constexpr double bitsPerMacroblock = 14;

// ISO/IEC 14496-10, 8.5.9: the step doubles with every 6 and is 1 at 4.
double stepOf(int quantizer) {
  return std::exp2((quantizer - 4) / 6.0);
}

// For the sum over a block's row.
constexpr int visibleDistance = 4 * blockSide;
// Pixels per step, a constant so that the compiler can vectorise.
constexpr int chunk = 64;

using RowCounts = std::array<std::uint32_t, 256>;

std::uint8_t distance(std::uint8_t a, std::uint8_t b) {
  return static_cast<std::uint8_t>(std::max(a, b) - std::min(a, b));
}

// Reads `chunk` + 1 bytes of the row and `chunk` of the one below.
void countChunk(RowCounts& counts, const std::uint8_t* row, const std::uint8_t* below) {
  std::array<std::uint8_t, chunk> edges;
  for (int i = 0; i < chunk; ++i)
    edges[i] = std::max(distance(row[i], row[i + 1]), distance(row[i], below[i]));
  for (int i = 0; i < chunk; i += blockSide)
    ++counts[std::max({edges[i], edges[i + 1], edges[i + 2], edges[i + 3]})];
}

void countRow(RowCounts& counts, const std::uint8_t* row, const std::uint8_t* below, int width) {
  int x = 0;
  for (; x + chunk < width; x += chunk) countChunk(counts, row + x, below + x);
  // The end, with its last pixel repeated.
  const int rest = width - x;
  std::array<std::uint8_t, chunk + 1> end;
  std::array<std::uint8_t, chunk> endBelow;
  end.fill(row[width - 1]);
  endBelow.fill(row[width - 1]);
  std::copy_n(row + x, rest, end.begin());
  std::copy_n(below + x, rest, endBelow.begin());
  countChunk(counts, end.data(), endBelow.data());
}

}  // namespace

double differingShare(const PictureBuffer& first, const PictureBuffer& second) {
  std::size_t blocks = 0;
  std::size_t differing = 0;
  const int step = std::max(first.size.height / comparedRows, 1);
  for (int y = step / 2; y < first.size.height; y += step) {
    const std::uint8_t* row = first.luma + static_cast<std::size_t>(y) * first.lumaStride;
    const std::uint8_t* other = second.luma + static_cast<std::size_t>(y) * second.lumaStride;
    for (int x = 0; x + blockSide <= first.size.width; x += blockSide) {
      int sum = 0;
      for (int i = x; i < x + blockSide; ++i) sum += distance(row[i], other[i]);
      ++blocks;
      if (sum > visibleDistance) ++differing;
    }
  }
  return blocks == 0 ? 1 : static_cast<double>(differing) / static_cast<double>(blocks);
}

PictureDetail::PictureDetail(const PictureBuffer& picture, std::span<const PixelRect> parts) {
  Counts counts{};
  for (const PixelRect& part : parts) {
    const PixelRect rect = part.intersectionWith(PixelRect::of(picture.size));
    if (rect.isEmpty()) continue;
    macroblocks_ += static_cast<double>(rect.width) * rect.height / macroblockArea;
    const int rows = std::max(1, rect.height / rowStep);
    RowCounts sampled{};
    for (int count = 0; count < rows; ++count) {
      const int y = std::min(rect.y + count * rowStep + rowStep / 2, rect.y + rect.height - 1);
      const std::uint8_t* row =
          picture.luma + static_cast<std::size_t>(y) * picture.lumaStride + static_cast<std::size_t>(rect.x);
      countRow(sampled, row, y + 1 < picture.size.height ? row + picture.lumaStride : row, rect.width);
    }
    const double weight = static_cast<double>(rect.height) / (rows * blockSide);
    for (std::size_t strength = 1; strength < strengths; ++strength)
      counts[strength] += sampled[strength] * weight;
  }
  sumUp(counts);
}

PictureDetail PictureDetail::ofWhole(const PictureBuffer& picture) {
  const PixelRect whole{0, 0, picture.size.width, picture.size.height};
  return {picture, std::span(&whole, 1)};
}

void PictureDetail::sumUp(const Counts& counts) {
  double blocks = 0;
  double octaves = 0;
  for (std::size_t strength = strengths - 1; strength > 0; --strength) {
    blocks += counts[strength];
    if (counts[strength] > 0) octaves += counts[strength] * std::log2(static_cast<double>(strength));
    blocksFrom_[strength] = blocks;
    octavesFrom_[strength] = octaves;
  }
}

double PictureDetail::bitsAt(int quantizer) const {
  const double smallest = visibleShareOfStep * stepOf(quantizer);
  double bits = bitsPerMacroblock * macroblocks_;
  if (smallest > strengths - 1) return bits;
  const auto strength = std::max<std::size_t>(static_cast<std::size_t>(std::ceil(smallest)), 1);
  return bits + bitsPerOctave * (octavesFrom_[strength] - blocksFrom_[strength] * std::log2(smallest));
}

}  // namespace quorl
