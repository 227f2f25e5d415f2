// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include <QuorlHostLinux/X11/Connection/X11Connection.h>

namespace quorl {

/// What relates a program's window to its other windows.
struct ClientWindow {
  std::uint32_t window = 0;
  std::int32_t pid = 0;            // 0 when unknown
  std::uint32_t leader = 0;        // WM_CLIENT_LEADER, else the group of WM_HINTS; 0: none
  std::uint32_t transientFor = 0;  // WM_TRANSIENT_FOR; the root means the whole group
};

/// A child of the root: a program's window, or a window manager's frame around one.
struct WindowOwner {
  bool isDrawn = false;             // false for windows that only take input
  bool isOverrideRedirect = false;  // a menu or a tooltip, which no window manager frames
  std::uint32_t visual = 0;
  ClientWindow client;
};

/// Waits for the server. Nothing when the window is gone.
std::optional<ClientWindow> readClientWindow(X11Connection& connection, std::uint32_t window);
std::optional<WindowOwner> readWindowOwner(X11Connection& connection, std::uint32_t topLevel);

/// Returns the program's window with this id, or null.
using FindClientWindow = std::function<const ClientWindow*(std::uint32_t window)>;

/// True for a window that belongs into the picture of `shown` when it lies over it: a menu or a tooltip of
/// the same program, or a dialog of the window.
bool belongsOver(const ClientWindow& shown, const WindowOwner& other, std::uint32_t root,
                 const FindClientWindow& find);

}  // namespace quorl
