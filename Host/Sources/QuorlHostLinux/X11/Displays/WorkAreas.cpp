// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Displays/WorkAreas.h>

#include <algorithm>
#include <array>
#include <limits>

namespace quorl {

namespace {

constexpr int smallestSide = 100;

/// One side of a monitor or of the root: from `low` to `high`, the latter excluded.
struct Span {
  std::int64_t low = 0;
  std::int64_t high = 0;

  bool overlaps(const Strut& strut) const { return strut.start < high && strut.end >= low; }
};

// A strut at the low end of `span` moves that end.
void reserveLow(Span& free, const Span& span, std::int64_t end) {
  if (end > span.low && end < span.high) free.low = std::max(free.low, end);
}

void reserveHigh(Span& free, const Span& span, std::int64_t end) {
  if (end > span.low && end < span.high) free.high = std::min(free.high, end);
}

void restoreIfTooSmall(Span& free, const Span& span) {
  if (free.high - free.low < std::min<std::int64_t>(smallestSide, span.high - span.low)) free = span;
}

}  // namespace

std::vector<Strut> strutsOf(const std::vector<std::uint32_t>& partial,
                            const std::vector<std::uint32_t>& whole) {
  constexpr std::array edges{Strut::Edge::left, Strut::Edge::right, Strut::Edge::top, Strut::Edge::bottom};
  const bool isPartial = partial.size() == 12;
  if (!isPartial && whole.size() != 4) return {};
  std::vector<Strut> struts;
  for (std::size_t at = 0; at < edges.size(); ++at) {
    const std::uint32_t width = isPartial ? partial[at] : whole[at];
    if (width == 0) continue;
    constexpr auto everywhere = std::numeric_limits<std::uint32_t>::max();
    struts.push_back({.edge = edges[at],
                      .width = width,
                      .start = isPartial ? partial[4 + 2 * at] : 0,
                      .end = isPartial ? partial[5 + 2 * at] : everywhere});
  }
  return struts;
}

PixelRect freeArea(const PixelRect& monitor, PixelSize root, const std::vector<Strut>& struts) {
  const Span across{monitor.x, monitor.maxX()};
  const Span down{monitor.y, monitor.maxY()};
  Span freeAcross = across;
  Span freeDown = down;
  for (const auto& strut : struts) {
    switch (strut.edge) {
      case Strut::Edge::left:
        if (down.overlaps(strut)) reserveLow(freeAcross, across, strut.width);
        break;
      case Strut::Edge::right:
        if (down.overlaps(strut)) reserveHigh(freeAcross, across, root.width - std::int64_t{strut.width});
        break;
      case Strut::Edge::top:
        if (across.overlaps(strut)) reserveLow(freeDown, down, strut.width);
        break;
      case Strut::Edge::bottom:
        if (across.overlaps(strut)) reserveHigh(freeDown, down, root.height - std::int64_t{strut.width});
        break;
    }
  }
  restoreIfTooSmall(freeAcross, across);
  restoreIfTooSmall(freeDown, down);
  return {static_cast<int>(freeAcross.low), static_cast<int>(freeDown.low),
          static_cast<int>(freeAcross.high - freeAcross.low), static_cast<int>(freeDown.high - freeDown.low)};
}

}  // namespace quorl
