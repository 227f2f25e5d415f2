// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <memory>

struct wl_display;
struct wl_seat;
struct wl_surface;

namespace quorl::viewer {

/// Asks a Wayland compositor to leave its own shortcuts alone while a surface has the keyboard
/// (keyboard-shortcuts-inhibit-unstable-v1), so that Super and Alt+Tab go to the window.
///
/// The compositor answers later, and never if it or its user refuses; it may also take the keyboard back.
///
/// *Queue*: one thread, that which dispatches the display's default queue; the handler is called there.
/// *Blocking*: `ask` waits for the compositor when it is called for the first time.
/// *Ownership*: display, seat and surface are the caller's and have to be of one connection.
/// *Lifetime*: ends before the display; the surface may end earlier. The handler may destroy this object and
/// is not called after destruction, which gives the shortcuts back.
class WaylandShortcutsInhibitor {
 public:
  using Changed = std::function<void(bool isActive)>;

  explicit WaylandShortcutsInhibitor(wl_display* display);
  ~WaylandShortcutsInhibitor();
  WaylandShortcutsInhibitor(const WaylandShortcutsInhibitor&) = delete;
  WaylandShortcutsInhibitor& operator=(const WaylandShortcutsInhibitor&) = delete;

  /// Whether the compositor has been asked; false if it does not know the protocol. Replaces what was asked
  /// before.
  bool ask(wl_seat* seat, wl_surface* surface, Changed changed);
  /// Gives the shortcuts back, before it returns to the caller's loop.
  void release();

 private:
  struct Parts;
  std::unique_ptr<Parts> parts_;
};

}  // namespace quorl::viewer
