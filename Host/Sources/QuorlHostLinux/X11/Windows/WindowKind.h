// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <vector>

#include <QuorlHostLinux/X11/Connection/X11Connection.h>

namespace quorl {

/// What a window is for, by _NET_WM_WINDOW_TYPE.
enum class WindowKind : std::uint8_t {
  ordinary,  // NORMAL, DIALOG, or no type
  utility,   // palettes, toolbars, splash screens
  popup,     // menus, tooltips, notifications
  panel,     // DOCK
  desktop,   // the desktop's background with its icons
};

/// The first type that is known counts; the property lists them by preference.
WindowKind windowKindOf(X11Connection& connection, const std::vector<std::uint32_t>& types);

/// 0 for ordinary windows, else higher the further in front such windows are; negative for the desktop.
int layerOf(WindowKind kind);

}  // namespace quorl
