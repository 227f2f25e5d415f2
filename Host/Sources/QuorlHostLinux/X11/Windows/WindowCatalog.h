// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <QuorlHostLinux/X11/Connection/X11Connection.h>
#include <QuorlKit/Foundation/Geometry.h>

namespace quorl {

/// Where a client's window is: the child of the root that holds it (the window manager's frame, or the window
/// itself), with its place on the root, borders included.
struct WindowPlace {
  std::uint32_t frame = 0;
  PixelRect bounds;
  int borderWidth = 0;
  bool isViewable = false;
};

struct CatalogWindow {
  std::uint32_t window = 0;  // the client's own; the frame ends with the window manager
  WindowPlace place;
  std::int32_t pid = 0;
  std::string title;       // valid UTF-8
  std::string className;   // WM_CLASS, second part
  bool isRegular = false;  // a window that a task bar would show
};

/// All windows that the window manager manages, front to back. Without a window manager, the viewable
/// children of the root. Waits for the server.
std::vector<CatalogWindow> readWindows(X11Connection& connection);

/// Nothing when the window is gone.
std::optional<WindowPlace> findPlace(X11Connection& connection, std::uint32_t window);

}  // namespace quorl
