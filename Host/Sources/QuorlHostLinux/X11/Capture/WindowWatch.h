// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <map>

#include <xcb/xcb.h>

#include <QuorlHostLinux/X11/Connection/X11Connection.h>

namespace quorl {

/// Selects the events of programs' windows. A connection has one selection for each window, so the sources
/// that show a window share it.
///
/// *Queue*: the connection's thread. *Lifetime*: ends before its connection.
class WindowWatch {
 public:
  explicit WindowWatch(X11Connection& connection) : connection_(connection) {}

  /// The connection receives the changes of the window's place, state and properties until each `add` has had
  /// its `remove`.
  void add(std::uint32_t window) {
    if (++counts_[window] == 1)
      select(window, XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_PROPERTY_CHANGE);
  }
  /// The window may be gone.
  void remove(std::uint32_t window) {
    if (--counts_[window] > 0) return;
    counts_.erase(window);
    select(window, XCB_EVENT_MASK_NO_EVENT);
  }

 private:
  void select(std::uint32_t window, std::uint32_t events) {
    xcb_change_window_attributes(connection_.xcb(), window, XCB_CW_EVENT_MASK, &events);
  }

  X11Connection& connection_;
  std::map<std::uint32_t, int> counts_;
};

}  // namespace quorl
