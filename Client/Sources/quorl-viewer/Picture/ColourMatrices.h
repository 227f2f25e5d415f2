// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <quorl-client/Video/PicturePlanes.h>

namespace libyuv {
struct YuvConstants;
}

namespace quorl::viewer {

/// The constants of libyuv's conversions, with an error of at most 2 of 255 (3 for BT.2020 in full range).
///
/// *Lifetime*: the program's.
const libyuv::YuvConstants& yuvConstants(client::ColourMatrix matrix, client::ColourRange range);

}  // namespace quorl::viewer
