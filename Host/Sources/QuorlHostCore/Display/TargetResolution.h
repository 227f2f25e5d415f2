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

/// What a stream shows, found in the content that can be captured now.
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
  std::optional<std::int32_t> inputPID;  // the process that input brings forward
  std::vector<std::int32_t> appPIDs;     // of an `app` target
  /// An application without a window of its own to show, so that no fit is possible.
  bool isWindowlessApp = false;
};

/// Fails with "stream.target" and the text for the client.
std::expected<ResolvedTarget, WireError> resolveTarget(const StreamTarget& target,
                                                       const ShareableContent& content);

/// What the client is told when its target is not, or no longer, there.
WireError targetNotFound(const StreamTarget& target);

/// The window of a process that a person would call its front one: an on-screen window beats one that is not,
/// then the larger area wins, then the one further in front. Windows under 100x60 points do not count.
const ShareableWindow* frontWindow(const std::vector<ShareableWindow>& windows, std::int32_t pid);

}  // namespace quorl
