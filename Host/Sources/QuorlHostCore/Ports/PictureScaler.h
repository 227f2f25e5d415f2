// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>

#include <QuorlKit/Foundation/ByteView.h>

namespace quorl {

/// Makes small pictures of image files.
///
/// *Queue*: any thread. *Blocking*: computes, up to a second; callers use `Scheduler::blocking`.
class PictureScaler {
 public:
  virtual ~PictureScaler() = default;
  /// The picture as PNG, scaled down so that its longer side is `longestSide` at most; never scaled up.
  /// Nothing for bytes that are no picture the platform knows, and for one that would cost too much.
  virtual std::optional<Bytes> scaledPNG(ByteView file, int longestSide) = 0;
};

}  // namespace quorl
