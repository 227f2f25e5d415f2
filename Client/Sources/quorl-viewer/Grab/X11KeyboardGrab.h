// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <expected>
#include <string>

struct xcb_connection_t;

namespace quorl::viewer {

/// The keyboard of an X11 display, taken from the window manager. All keys then go to the window, also those
/// that the window manager has grabbed for itself, such as Super and Alt+Tab.
///
/// *Queue*: that of the connection. *Blocking*: `take` waits for the server's answer.
/// *Ownership*: the connection is the caller's and has to be the one that reads the window's events: the
/// server reports the keys of a grab to the client that made it.
/// *Lifetime*: ends before the connection; destruction releases the keyboard.
class X11KeyboardGrab {
 public:
  struct Refusal {
    bool isBusy = false;  // another program has the keyboard
    std::string reason;   // a sentence without a full stop
  };

  X11KeyboardGrab(xcb_connection_t* connection, std::uint32_t window) : xcb_(connection), window_(window) {}
  ~X11KeyboardGrab() { release(); }
  X11KeyboardGrab(const X11KeyboardGrab&) = delete;
  X11KeyboardGrab& operator=(const X11KeyboardGrab&) = delete;

  std::expected<void, Refusal> take();
  /// Gives the keyboard back, before it returns to the caller's loop.
  void release();
  bool isHeld() const { return isHeld_; }

 private:
  xcb_connection_t* xcb_;
  std::uint32_t window_;
  bool isHeld_ = false;
};

}  // namespace quorl::viewer
