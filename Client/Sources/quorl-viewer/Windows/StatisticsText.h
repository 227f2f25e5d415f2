// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

#include <quorl-viewer/Link/LinkListener.h>
#include <quorl-viewer/Picture/PictureTimes.h>

namespace quorl::viewer {

/// The text of the statistics over the picture, a line a subject. A value without measurements is left out.
std::string statisticsText(const PictureReport& report, const LinkCounters& counters,
                           const std::string& decoder, PixelSize picture);

}  // namespace quorl::viewer
