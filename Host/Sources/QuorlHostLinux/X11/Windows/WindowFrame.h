// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include <QuorlKit/Foundation/Geometry.h>

namespace quorl {

/// Widths at the four sides of a window, in pixels.
struct FrameExtents {
  int left = 0;
  int right = 0;
  int top = 0;
  int bottom = 0;

  bool operator==(const FrameExtents&) const = default;
};

/// Each side moved inwards by its extent; outwards where that is negative.
PixelRect shrunk(const PixelRect& rect, const FrameExtents& by);
/// From the sides of `inner` to those of `outer`; negative where `inner` reaches beyond.
FrameExtents between(const PixelRect& inner, const PixelRect& outer);

/// What a window server knows of one window. All rectangles are on the root.
struct WindowShape {
  PixelRect client;  // without border
  PixelRect frame;   // the child of the root that holds the client, with its border
  bool isFramed = false;
  bool isViewable = false;
  std::optional<FrameExtents> decoration;  // _NET_FRAME_EXTENTS: what the window manager adds to the client
  std::optional<FrameExtents> shadow;      // _GTK_FRAME_EXTENTS: what the client draws around its window
};

struct WindowOutline {
  PixelRect visible;      // the window as the person sees it: with its title bar, without shadows
  FrameExtents padding;   // from the client to `visible`; negative where the client draws a shadow
  PixelSize frameOffset;  // from the corner that a window manager places to that of `visible`

  bool operator==(const WindowOutline&) const = default;
};

/// The property's value: left, right, top, bottom. Absent when it is absurd; any program can set it.
std::optional<FrameExtents> frameExtentsOf(const std::vector<std::uint32_t>& property);

/// A program that draws a shadow draws the whole frame of its window. Else the frame is the window manager's.
/// That may be larger than what is visible of it (window managers add invisible borders), and while a
/// window is minimised or restored it may have any size, because some window managers animate that. A shaded
/// window's frame is smaller than its client.
WindowOutline outlineOf(const WindowShape& shape);

}  // namespace quorl
