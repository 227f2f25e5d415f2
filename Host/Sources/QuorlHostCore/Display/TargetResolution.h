// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <expected>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <QuorlHostCore/Ports/ScreenCapture.h>
#include <QuorlKit/Foundation/Geometry.h>
#include <QuorlKit/Models/Models.h>
#include <QuorlKit/Protocol/Handshake.h>

namespace quorl {

/// A stream's target, resolved in the content that can be captured now.
struct ResolvedTarget {
  struct Window {
    std::uint32_t windowID = 0;
    std::int32_t pid = 0;
    std::string title;
    bool isOnScreen = false;
  };

  CaptureFilter filter;
  PointRect contentRect;                 // global points
  std::optional<Window> window;          // the only one in the picture
  std::optional<std::int32_t> inputPID;  // the process that input raises
  std::vector<std::int32_t> appPIDs;     // of an `app` target
  /// An application with no window to show, which cannot be fitted.
  bool isWindowlessApp = false;
};

/// Returns the ID of a process's front window.
using FrontWindowLookup = std::function<std::optional<std::uint32_t>(std::int32_t pid)>;

/// Fails with "stream.target" and the client's text. `lookUpFront` finds the front window of an application;
/// without it, `content` does.
std::expected<ResolvedTarget, WireError> resolveTarget(const StreamTarget& target,
                                                       const ShareableContent& content,
                                                       const FrontWindowLookup& lookUpFront = nullptr);

/// The error for a target that is missing or gone.
WireError targetNotFound(const StreamTarget& target);

/// A process's front window as a person would choose it: on-screen windows first, then by area, then the one
/// further in front. Windows under 100x60 points do not count.
const ShareableWindow* frontWindow(const std::vector<ShareableWindow>& windows, std::int32_t pid);

}  // namespace quorl
