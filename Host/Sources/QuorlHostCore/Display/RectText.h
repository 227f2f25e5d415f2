// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

#include <QuorlKit/Foundation/Geometry.h>

namespace quorl {

/// For log lines: "(x, y, width, height)".
std::string described(const PointRect& rect);

}  // namespace quorl
