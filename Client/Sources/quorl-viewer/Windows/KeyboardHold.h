// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <optional>
#include <string>

#include <QTimer>
#include <QWidget>

#include <quorl-viewer/Grab/WaylandShortcutsInhibitor.h>
#include <quorl-viewer/Grab/X11KeyboardGrab.h>
#include <quorl-viewer/Keyboard/GrabMachine.h>

namespace quorl::viewer {

/// Takes the keyboard from the desktop for a window: on X11 by a grab, on Wayland by the compositor's leave
/// to keep its shortcuts.
///
/// *Queue*: the GUI thread. *Ownership*: the window's; borrows it.
class KeyboardHold {
 public:
  struct Refusal {
    GrabRefusal kind = GrabRefusal::refused;
    std::string reason;
  };
  struct Handlers {
    std::function<void()> taken;
    std::function<void(const Refusal&)> refused;
    /// The desktop has taken the keyboard back.
    std::function<void()> lost;
  };
  /// A compositor that asks its user first may need longer; it then has the focus meanwhile.
  static constexpr std::chrono::milliseconds longestAnswer{1'000};

  KeyboardHold(QWidget& window, Handlers handlers);

  /// Answered by `taken` or `refused`, during the call or later.
  void take();
  void letGo();

 private:
  void takeOnX11();
  void takeOnWayland();
  void changed(bool isActive);
  void refuse(GrabRefusal kind, std::string reason);

  QWidget& window_;
  const Handlers handlers_;
  std::optional<X11KeyboardGrab> x11_;
  std::optional<WaylandShortcutsInhibitor> wayland_;
  QTimer answerTimer_;
};

}  // namespace quorl::viewer
