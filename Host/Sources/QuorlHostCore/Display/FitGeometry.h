// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <vector>

#include <QuorlHostCore/Ports/WindowControl.h>
#include <QuorlKit/Foundation/Geometry.h>

namespace quorl {

/// The first screen whose frame contains the centre of `rect`, else the main one. Null without screens.
const ScreenFrames* screenContaining(const std::vector<ScreenFrames>& screens, const PointRect& rect);

/// The largest frame of `aspect` (width over height) in `visible`, times `scale` (clamped to 0.2 to 1), at
/// least 320 points wide, around the centre of `current` as far as `visible` allows, in whole points. The
/// height is not limited from below: a very wide aspect gives a low window. Nothing if a value is not finite,
/// if there is no area to fit to, or if the height would be 0.
std::optional<PointRect> fittedFrame(const PointRect& visible, const PointRect& current, double aspect,
                                     double scale);

/// The sum of the absolute differences of width and height.
double sizeDrift(const PointRect& one, const PointRect& other);

/// That sum, plus those of the left and the top edge.
double frameDrift(const PointRect& one, const PointRect& other);

}  // namespace quorl
