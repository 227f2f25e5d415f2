// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>

#include <QWidget>

#include <quorl-viewer/Grab/X11KeyboardGrab.h>
#include <quorl-viewer/Keyboard/GrabMachine.h>

namespace quorl::viewer {

/// Takes the keyboard from the desktop for a window: on X11 by a grab, on Wayland by the toolkit's
/// request to the compositor.
///
/// *Queue*: the GUI thread. *Ownership*: the window's; borrows it.
class KeyboardHold {
 public:
  struct Refusal {
    GrabRefusal kind = GrabRefusal::refused;
    std::string reason;
  };

  explicit KeyboardHold(QWidget& window) : window_(window) {}

  /// Nothing if it is taken.
  std::optional<Refusal> take();
  void letGo();

 private:
  QWidget& window_;
  std::optional<X11KeyboardGrab> x11_;
};

}  // namespace quorl::viewer
