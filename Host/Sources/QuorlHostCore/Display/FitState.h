// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>

namespace quorl {

/// A client's wishes for the size of a stream's window, and their rules. It knows nothing of the window.
///
/// *Queue*: the owner's; a value.
struct FitState {
  enum class Mode : std::uint8_t {
    none,    // the window stays as it is
    aspect,  // to the aspect of the client's view
    scale,   // its own aspect, at `fitScale` of the largest size
  };
  enum class Change : std::uint8_t { no, yes };

  std::optional<double> clientAspect;  // width over height of the client's view
  bool autoFit = true;
  double fitScale = 1.0;  // share of the largest fit

  /// Each stores a wish and returns whether it changed anything.
  Change takeAspect(double pointsWide, double pointsHigh);
  Change takeAutoFit(bool enabled);
  Change takeScale(double scale);

  Mode mode() const;
};

}  // namespace quorl
