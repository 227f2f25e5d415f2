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
  std::uint32_t window = 0;  // the client's own: it survives the window manager, the frame does not
  WindowPlace place;
  std::int32_t pid = 0;
  std::string title;       // valid UTF-8
  std::string className;   // WM_CLASS, second part
  bool isRegular = false;  // an application's window, as a task bar would show it
};

/// All windows under the window manager's care, front to back; without one, the root's own viewable windows.
/// Waits for the server.
std::vector<CatalogWindow> readWindows(X11Connection& connection);

/// Nothing when the window is gone.
std::optional<WindowPlace> findPlace(X11Connection& connection, std::uint32_t window);

}  // namespace quorl
