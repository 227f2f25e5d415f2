// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include <QuorlHostCore/Ports/WindowControl.h>
#include <QuorlKit/Foundation/Geometry.h>

namespace quorl {

/// Finds windows and changes their frames. It keeps no state of its own.
///
/// *Queue*: any; each operation is independent of the others.
/// *Blocking*: every operation may wait for the window server or an application; callers use
/// `Scheduler::blocking`.
/// *Ownership*: borrows the port.
/// *Lifetime*: the port's.
class WindowFitter {
 public:
  struct FrontWindow {
    std::uint32_t windowID = 0;
    std::string title;
    bool isOnScreen = false;
  };

  explicit WindowFitter(WindowControl& windows) : windows_(windows) {}

  std::optional<PointRect> windowFrame(std::uint32_t windowID) const;

  /// The window of a process that a person would call its front window: on-screen ones first, then the
  /// largest. Windows under 100x60 points and those of other layers do not count.
  std::optional<FrontWindow> frontWindow(std::int32_t pid) const;

  /// Accessibility addresses windows without their IDs, so the match is by geometry, then by title, then by
  /// the application's main or focused window. Null when the application shows no window.
  WindowControl::Window findAXWindow(std::int32_t pid, const std::string& title,
                                     const std::optional<PointRect>& targetFrame) const;

  /// Gives the window the largest frame of this aspect on its screen, times `scale`. Returns that frame even
  /// if the application refused it: the caller verifies later. Nothing without a screen.
  std::optional<PointRect> fit(AccessibleWindow& window, const PointRect& currentFrame, double aspect,
                               double scale) const;

  /// Sets size, position and size: the first size may be limited by the old position.
  void setFrame(AccessibleWindow& window, const PointRect& frame) const;

 private:
  WindowControl& windows_;
};

}  // namespace quorl
