// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <functional>

namespace quorl {

/// What one stream may use of its client's link.
struct PictureBudget {
  double bytesPerSecond = 0;  // 0: the link is no limit

  bool operator==(const PictureBudget&) const = default;
};

/// A stream that would capture and encode its next picture.
struct PictureRequest {
  std::uint32_t streamID = 0;
  double wantedRate = 0;           // that its quality asks for, in bytes per second
  std::function<void()> whenOpen;  // if it has to wait; see StreamOutputSink::admitPicture
};

}  // namespace quorl
