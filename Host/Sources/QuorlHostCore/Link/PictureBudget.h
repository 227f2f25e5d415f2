// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <functional>

namespace quorl {

/// One stream's share of its client's link.
struct PictureBudget {
  double bytesPerSecond = 0;  // 0: the link is not the limit

  bool operator==(const PictureBudget&) const = default;
};

/// A stream's request to capture and encode its next picture.
struct PictureRequest {
  std::uint32_t streamID = 0;
  double wantedRate = 0;           // what its quality asks for, in bytes per second
  std::function<void()> whenOpen;  // called if it has to wait; see StreamOutputSink::admitPicture
};

}  // namespace quorl
