// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include <QuorlHostLinux/X11/Displays/DisplayList.h>
#include <QuorlHostLinux/X11/Windows/WindowCatalog.h>

namespace quorl {

/// The states in which the window manager decides a window's frame.
struct ConstrainedState {
  bool isFullScreen = false;
  bool isMaximisedHorizontally = false;
  bool isMaximisedVertically = false;

  bool any() const { return isFullScreen || isMaximisedHorizontally || isMaximisedVertically; }
  bool operator==(const ConstrainedState&) const = default;
};

/// Changes of a window, asked of the window manager (Extended Window Manager Hints 1.5, as a pager asks), or
/// made directly without one. The window manager decides and may refuse; the calls do not wait for that.
///
/// *Queue*: the connection's thread. *Blocking*: waits for the server.
class WindowRequests {
 public:
  explicit WindowRequests(X11Connection& connection);

  bool hasWindowManager() const { return hasWindowManager_; }

  ConstrainedState constrainedState(std::uint32_t window);
  /// Makes a window in such a state an ordinary one.
  void release(std::uint32_t window);
  /// Adds the states.
  void constrain(std::uint32_t window, const ConstrainedState& state);

  /// `place` is the window's present one; the size and the corner are those of `WindowPlace::visible`.
  void resize(std::uint32_t window, const WindowPlace& place, PixelSize size);
  void move(std::uint32_t window, const WindowPlace& place, RootPosition corner);

  bool isMinimized(std::uint32_t window);
  /// Needs a window manager.
  void minimize(std::uint32_t window);
  /// Shows the window if it is minimised, raises it and gives it the keyboard.
  void bringForward(std::uint32_t window);

  /// The window that has the keyboard; 0 when there is none.
  std::uint32_t activeWindow();

  /// Selects or deselects the events after which the window's place or state may have changed.
  void watch(std::uint32_t window);
  void unwatch(std::uint32_t window);

 private:
  struct Geometry {
    std::optional<RootPosition> corner;  // of the frame
    std::optional<PixelSize> size;       // of the client, without border
  };

  void configure(std::uint32_t window, const Geometry& geometry);
  void configureDirectly(std::uint32_t window, const Geometry& geometry);
  void ask(std::uint32_t window, const char* message, const std::array<std::uint32_t, 5>& data);
  void select(std::uint32_t window, std::uint32_t events);

  X11Connection& connection_;
  bool hasWindowManager_;
};

}  // namespace quorl
