// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string_view>

#include <QuorlHostCore/Ports/Platform.h>
#include <QuorlHostPosix/UserFolders.h>

namespace quorl {

/// A display system that the host can show and drive.
struct Desktop {
  std::string_view name;
  bool (*serves)(const Environment&);  // whether the session of this environment runs it
  void (*addTo)(Platform&);            // fills in the ports of the desktop
};

/// The first desktop of the table that serves the session. The last one, without a screen, serves any
/// session.
const Desktop& desktopFor(const Environment& environment);

/// The table's last row: an empty display list, no permissions, and input that is dropped.
void addNoDesktop(Platform& platform);

}  // namespace quorl
