// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QuorlHostLinux/X11/Capture/RenderFormats.h>
#include <QuorlHostLinux/X11/Capture/TopLevels.h>
#include <QuorlHostLinux/X11/Capture/WindowWatch.h>

namespace quorl {

/// What the sources of windows share: the windows of the display, their pixels' formats, and the events
/// selected for them.
///
/// *Queue*: the connection's thread.
/// *Lifetime*: exists while a source needs it; ends before its connection.
struct Scene {
  explicit Scene(X11Connection& connection) : windows(connection), formats(connection), watch(connection) {}

  TopLevels windows;
  RenderFormats formats;
  WindowWatch watch;
};

}  // namespace quorl
