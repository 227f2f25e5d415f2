// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include <quorl-client/Video/PicturePlanes.h>
#include <quorl-viewer/Picture/ScalingTaps.h>

namespace quorl::viewer {

/// Converts and scales a picture row by row: each source row is converted and scaled in width once, in
/// buffers that fit into the processor's cache, and destination rows are blended from those rows.
///
/// *Queue*: one at a time. *Ownership*: owns rows and tables; borrows picture and pixels for the call.
class SmoothScaler {
 public:
  /// Writes `clip`, a part of `destination` in the same coordinates, which shows the part `source` of the
  /// picture. `pixels` is the corner of `clip`.
  void scale(const client::PicturePlanes& picture, const PixelRect& source, const PixelRect& destination,
             const PixelRect& clip, std::uint8_t* pixels, std::size_t stride);

 private:
  // Eight 16-bit lanes: the weights of two adjacent source pixels, four channels each.
  using PairWeights = std::array<std::uint16_t, 8>;
  struct Columns {
    int source = 0;
    int destination = 0;
    int begin = 0;
    int end = 0;
    bool operator==(const Columns&) const = default;
  };
  struct Row {
    std::optional<int> number;  // of the source
    std::vector<std::uint8_t> pixels;
  };

  void prepare(const Columns& columns);
  const std::uint8_t* row(const client::PicturePlanes& picture, const PixelRect& source, int number);
  template <bool isOnePair>
  void scaleColumns(std::uint8_t* pixels) const;
  void blend(const client::PicturePlanes& picture, const PixelRect& source, const Taps& taps,
             std::uint8_t* pixels);

  Columns columns_;
  std::vector<int> firsts_;  // first source pixel of each column, relative to `sourceBegin_`
  std::size_t pairs_ = 0;    // of source pixels a column
  std::vector<PairWeights> weights_;
  int sourceBegin_ = 0;
  int sourceEnd_ = 0;
  std::vector<std::uint8_t> converted_;
  // The two source rows used last, scaled in width.
  std::array<Row, 2> rows_;
  std::size_t older_ = 0;
  std::vector<std::uint16_t> sums_;
};

}  // namespace quorl::viewer
