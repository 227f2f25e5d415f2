// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include <QuorlHostCore/Ports/WindowControl.h>
#include <QuorlHostLinux/X11/Windows/ChangeWait.h>
#include <QuorlHostLinux/X11/Windows/WindowRequests.h>
#include <QuorlHostLinux/X11/Windows/WindowSession.h>

namespace quorl {

/// The status of a call that the server did not answer in time, or without a display.
constexpr AccessibilityStatus noAnswer = -1;

/// A client's window by its own number, which outlives the window manager's frame.
///
/// A change is asked of the window manager. The call then waits until the change is seen or seems refused, so
/// that the next read is true; a refused change is no error. Errors have the numbers of the X protocol.
///
/// *Queue*: any thread. *Blocking*: up to 300 ms for the window manager (a second until a window is shown),
/// and `WindowSession::answerLimit` for the server. *Ownership*: shares the session.
class X11AccessibleWindow final : public AccessibleWindow {
 public:
  X11AccessibleWindow(std::shared_ptr<WindowSession> session, std::uint32_t window)
      : session_(std::move(session)), window_(window) {}

  std::optional<PointRect> frame() override;
  std::optional<std::string> title() override;
  std::optional<bool> isMinimized() override;
  /// A change of either ends the maximised and the full-screen state. A window that is asked to take the
  /// frame again that it had in that state gets the state back.
  AccessibilityStatus setSize(PointSize size) override;
  AccessibilityStatus setPosition(PointXY position) override;
  /// With false, also raises the window and gives it the keyboard, minimised or not.
  AccessibilityStatus setMinimized(bool minimized) override;

  /// Raises the window, gives it the keyboard and waits for that.
  AccessibilityStatus bringForward();

  std::uint32_t windowID() const { return window_; }

 private:
  /// What a wait looks at.
  struct View {
    WindowPlace place;
    ConstrainedState constrained;
    bool isMinimized = false;
    bool isActive = false;

    bool operator==(const View& other) const {
      return place.visible == other.place.visible && place.padding == other.place.padding &&
             place.isViewable == other.place.isViewable && constrained == other.constrained &&
             isMinimized == other.isMinimized && isActive == other.isActive;
    }
  };
  using Change = std::function<void(WindowRequests&, const View&)>;
  using Goal = std::function<bool(const View&)>;

  static std::optional<View> look(X11Connection& connection, WindowRequests& requests, std::uint32_t window);

  /// Asks for the change and waits until the goal is reached, the window has settled or the limit has passed.
  AccessibilityStatus change(Change change, const Goal& goal, std::chrono::milliseconds limit);
  AccessibilityStatus release(const View& view);
  AccessibilityStatus restore(const std::optional<ConstrainedState>& state);
  std::optional<std::optional<View>> view();

  std::shared_ptr<WindowSession> session_;
  std::uint32_t window_;
};

}  // namespace quorl
