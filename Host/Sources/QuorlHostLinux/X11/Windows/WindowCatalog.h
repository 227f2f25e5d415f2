// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <QuorlHostLinux/X11/Connection/X11Connection.h>
#include <QuorlHostLinux/X11/Windows/WindowFrame.h>
#include <QuorlHostLinux/X11/Windows/WindowKind.h>
#include <QuorlHostLinux/X11/Windows/WindowProperties.h>
#include <QuorlKit/Foundation/Geometry.h>

namespace quorl {

/// Where a client's window is: the child of the root that holds it (the window manager's frame, or the window
/// itself), with its place on the root, borders included.
struct WindowPlace {
  std::uint32_t frame = 0;
  PixelRect bounds;
  int borderWidth = 0;
  bool isViewable = false;
  PixelRect visible;     // on the root: the window as the person sees it, inside `bounds`
  FrameExtents padding;  // from the client without its border to `visible`
  PixelSize frameOffset;
};

struct CatalogWindow {
  std::uint32_t window = 0;  // the client's own; the frame ends with the window manager
  WindowPlace place;
  std::int32_t pid = 0;  // 0 when unknown
  std::string title;     // as `boundedTitle`
  WindowClass windowClass;
  std::string applicationID;  // what the program claims to be: a desktop-file id; valid UTF-8
  WindowKind kind = WindowKind::ordinary;
  bool isMinimized = false;
  bool isInTaskBar = true;

  /// A window that makes its process an application.
  bool isRegular() const { return kind == WindowKind::ordinary && isInTaskBar; }
  bool isOnScreen() const { return place.isViewable && !isMinimized; }
};

/// All windows that the window manager manages, front to back. Without a window manager, the viewable
/// children of the root. Waits for the server, a few round trips for any number of windows.
std::vector<CatalogWindow> readWindows(X11Connection& connection);

/// Of these, the ordinary windows of one process.
std::vector<CatalogWindow> readOrdinaryWindows(X11Connection& connection, std::int32_t pid);

/// Whether the states of a window (_NET_WM_STATE) are those of a minimised one.
bool areStatesMinimized(X11Connection& connection, const std::vector<std::uint32_t>& states);

/// Nothing when the window is gone.
std::optional<WindowPlace> findPlace(X11Connection& connection, std::uint32_t window);

/// As `CatalogWindow::title`. Nothing when the window is gone.
std::optional<std::string> readTitle(X11Connection& connection, std::uint32_t window);

/// The process of a window's client; 0 when unknown.
std::int32_t findProcess(X11Connection& connection, std::uint32_t window);

}  // namespace quorl
