// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <vector>

#include <QuorlKit/Foundation/Geometry.h>

namespace quorl {

/// Space that a window reserves along an edge of the root (_NET_WM_STRUT_PARTIAL), in pixels.
struct Strut {
  enum class Edge : std::uint8_t { left, right, top, bottom };

  Edge edge = Edge::left;
  std::uint32_t width = 0;  // from the edge of the root, not of a monitor
  std::uint32_t start = 0;  // the part of the edge, both ends included
  std::uint32_t end = 0;

  bool operator==(const Strut&) const = default;
};

/// The struts of one window. `whole` is its _NET_WM_STRUT, which counts without a valid `partial`.
std::vector<Strut> strutsOf(const std::vector<std::uint32_t>& partial,
                            const std::vector<std::uint32_t>& whole);

/// The part of a monitor that no strut reserves. A strut belongs to the monitors on which it ends: the strut
/// of a panel at the left edge of the right monitor covers the left monitor too, but reserves nothing there.
/// Struts that would leave less than 100 pixels of a side are ignored.
PixelRect freeArea(const PixelRect& monitor, PixelSize root, const std::vector<Strut>& struts);

}  // namespace quorl
