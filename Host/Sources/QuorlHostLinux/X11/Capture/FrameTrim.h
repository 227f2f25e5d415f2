// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>

#include <QuorlHostLinux/X11/Connection/X11Connection.h>

namespace quorl {

/// What is cut off a window's outer bounds to get what the person takes for the window: a program that draws
/// its own decoration draws its shadow too, inside its window, and says so in _GTK_FRAME_EXTENTS.
struct FrameTrim {
  int left = 0;
  int right = 0;
  int top = 0;
  int bottom = 0;

  bool operator==(const FrameTrim&) const = default;
};

/// Waits for the server. `frame` is the child of the root that holds `window`. Nothing is cut off when the
/// property is absent or absurd.
FrameTrim readFrameTrim(X11Connection& connection, std::uint32_t window, std::uint32_t frame);

/// Returns `bounds` when nothing would be left.
PixelRect trimmed(const PixelRect& bounds, const FrameTrim& trim);

}  // namespace quorl
