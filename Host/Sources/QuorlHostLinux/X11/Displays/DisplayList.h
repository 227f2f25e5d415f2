// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <QuorlHostCore/Ports/ScreenCapture.h>
#include <QuorlHostLinux/X11/Connection/X11Connection.h>

namespace quorl {

struct Monitor {
  std::string name;
  PixelRect bounds;  // of the root
  bool isPrimary = false;

  bool operator==(const Monitor&) const = default;
};

/// The active monitors (RandR 1.5); without RandR the root alone, named "screen". Waits for the server.
std::vector<Monitor> readMonitors(X11Connection& connection);

/// FNV-1a, 32 bits, never 0: the same number for a name on every start. The server's own numbers change when
/// it restarts.
std::uint32_t displayIDOf(std::string_view monitorName);

/// A pixel of the root.
struct RootPosition {
  int x = 0;
  int y = 0;

  bool operator==(const RootPosition&) const = default;
};

/// Where global points start: the top left corner of the main display. That is the primary monitor, else the
/// one with the root's origin, else the first.
RootPosition originOf(const std::vector<Monitor>& monitors);

/// A rectangle of the root in global points. A point is a pixel: X has one scale for all, and windows draw in
/// pixels.
PointRect pointsOf(const PixelRect& rect, RootPosition origin);

/// The monitors in global points.
std::vector<ShareableDisplay> displaysOf(const std::vector<Monitor>& monitors);

/// Selects the events after which monitors may have changed (`isMonitorEvent`).
void selectMonitorEvents(X11Connection& connection);
bool isMonitorEvent(const void* event, const X11Connection& connection);

}  // namespace quorl
