// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QWindow>

struct wl_display;
struct wl_seat;
struct wl_surface;

namespace quorl::viewer {

/// What the toolkit has made for a window on Wayland; everything is null elsewhere, and the surface of a
/// hidden window too.
///
/// *Queue*: the GUI thread. *Ownership*: the toolkit's. *Lifetime*: the surface ends when the window is
/// hidden.
struct WaylandWindow {
  wl_display* display = nullptr;
  wl_seat* seat = nullptr;
  wl_surface* surface = nullptr;

  static WaylandWindow of(QWindow* window);
  bool isComplete() const { return display != nullptr && seat != nullptr && surface != nullptr; }
};

}  // namespace quorl::viewer
