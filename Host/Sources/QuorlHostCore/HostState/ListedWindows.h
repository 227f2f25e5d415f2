// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <vector>

#include <QuorlHostCore/Ports/ScreenCapture.h>
#include <QuorlKit/Models/Models.h>

namespace quorl {

/// A program can give a window a title of megabytes. The rest is cut off, so that the state fits in a frame.
inline constexpr std::size_t maxTitleBytes = 4096;

/// The windows that a person would recognise, those on the screen first and else in the order of the content.
///
/// `regular`: the processes of applications with a user interface; absent where the platform cannot list
/// them, and then every known process counts. Pure.
std::vector<WindowInfo> listedWindows(const ShareableContent& content,
                                      const std::optional<std::set<std::int32_t>>& regular);

/// The applications of the content that have at least one of `windows`, without their icons. Pure.
std::vector<RunningAppInfo> appsWithWindows(const ShareableContent& content,
                                            const std::vector<WindowInfo>& windows);

}  // namespace quorl
