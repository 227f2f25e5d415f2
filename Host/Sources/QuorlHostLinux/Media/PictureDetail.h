// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include <QuorlHostCore/Ports/ScreenCapture.h>

namespace quorl {

/// The share of a picture that differs from another of the same size, 0 to 1, from a sample of its luma.
double differingShare(const PictureBuffer& first, const PictureBuffer& second);

/// The detail of a picture or of parts of it, from which the bits of new content follow for any quantiser.
/// Measured from the luma alone, by the strongest edge in each of a sample of 4x4 blocks: an edge below the
/// quantiser's step vanishes, and each doubling above it costs a block about the same number of bits.
///
/// *Queue*: any; a value.
class PictureDetail {
 public:
  PictureDetail() = default;
  /// Of these parts of the picture, which may lie outside it or overlap.
  PictureDetail(const PictureBuffer& picture, std::span<const PixelRect> parts);
  static PictureDetail ofWhole(const PictureBuffer& picture);

  /// The bits of an H.264 picture of this content if it is all new; `quantizer` is 0 to 69. Within a third of
  /// the real size for text, photographs and noise.
  double bitsAt(int quantizer) const;

 private:
  static constexpr int strengths = 256;
  using Counts = std::array<double, strengths>;  // of blocks, by the strength of their strongest edge

  void sumUp(const Counts& counts);

  double macroblocks_ = 0;
  // Over all blocks whose strongest edge is at least this strong: their number, and the sum of the
  // logarithms.
  Counts blocksFrom_{};
  Counts octavesFrom_{};
};

}  // namespace quorl
