// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <expected>
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
  /// The window that a fit may change.
  struct FitCandidate {
    std::uint32_t windowID = 0;
    std::int32_t pid = 0;
    std::string title;
  };

  CaptureFilter filter;
  PointRect contentRect;  // global points
  std::optional<FitCandidate> fitCandidate;
  std::optional<std::int32_t> inputPID;  // the process that input raises
  std::vector<std::int32_t> appPIDs;     // of an `app` target
  /// An application with no window to show, which cannot be fitted.
  bool isWindowlessApp = false;
};

/// Fails with "stream.target" and the client's text.
std::expected<ResolvedTarget, WireError> resolveTarget(const StreamTarget& target,
                                                       const ShareableContent& content);

/// The error for a target that is missing or gone.
WireError targetNotFound(const StreamTarget& target);

/// A process's front window as a person would choose it: on-screen windows first, then by area, then the one
/// further in front. Windows under 100x60 points do not count.
const ShareableWindow* frontWindow(const std::vector<ShareableWindow>& windows, std::int32_t pid);

}  // namespace quorl
