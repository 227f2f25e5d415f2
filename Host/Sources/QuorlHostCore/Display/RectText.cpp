// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Display/RectText.h>

#include <fmt/format.h>

namespace quorl {

std::string described(const PointRect& rect) {
  return fmt::format("({}, {}, {}, {})", rect.origin.x, rect.origin.y, rect.size.width, rect.size.height);
}

}  // namespace quorl
