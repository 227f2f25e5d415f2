// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <QuorlKit/Foundation/Geometry.h>

namespace quorl {

/// A window as the window server lists it.
struct ListedWindow {
  std::uint32_t windowID = 0;
  std::int32_t pid = 0;  // 0 when unknown
  int layer = 0;         // 0 for ordinary windows; panels, docks and menus have others
  std::string title;     // empty when unknown
  PointRect bounds;      // global, in points, as the person sees the window
  bool isOnScreen = false;
};

enum class WindowScope : std::uint8_t { all, onScreen };

/// The screen's whole frame, and the part that panels and docks leave free. Global points, origin at the top
/// left of the main display.
struct ScreenFrames {
  PointRect frame;
  PointRect visibleFrame;
  bool isMain = false;
};

/// The status of an accessibility call: 0, or the platform's error number.
using AccessibilityStatus = int;

/// A window as accessibility addresses it.
///
/// *Queue*: any thread, one at a time. *Blocking*: every call may wait for the window's application, within a
/// limit of the adapter's. *Ownership*: the caller's. *Lifetime*: may outlive the window; then reads are
/// absent and writes fail.
class AccessibleWindow {
 public:
  virtual ~AccessibleWindow() = default;
  virtual std::optional<PointRect> frame() = 0;  // attributes "AXPosition" and "AXSize"
  virtual std::optional<std::string> title() = 0;
  virtual std::optional<bool> isMinimized() = 0;
  virtual AccessibilityStatus setSize(PointSize size) = 0;
  virtual AccessibilityStatus setPosition(PointXY position) = 0;
  /// With false, returns once the window is shown or the adapter's limit has passed.
  virtual AccessibilityStatus setMinimized(bool minimized) = 0;
};

/// The windows of this session and their applications.
///
/// *Queue*: any thread. There are no callbacks.
/// *Blocking*: every call may wait for the window server or an application, within a limit of the adapter's;
/// callers use `Scheduler::blocking`.
/// *Ownership*: returns copies.
/// *Lifetime*: no call may run during the destruction.
class WindowControl {
 public:
  using Window = std::shared_ptr<AccessibleWindow>;

  virtual ~WindowControl() = default;

  /// Where one window is now. Absent when it is gone.
  virtual std::optional<PointRect> windowBounds(std::uint32_t windowID) = 0;
  /// Front to back, without the desktop's own elements. Absent when the window server does not answer.
  virtual std::optional<std::vector<ListedWindow>> windowList(WindowScope scope) = 0;

  /// The windows that accessibility reports for a process; empty when it cannot be asked.
  virtual std::vector<Window> accessibleWindows(std::int32_t pid) = 0;
  virtual Window focusedWindow(std::int32_t pid) = 0;  // null when there is none
  virtual Window mainWindow(std::int32_t pid) = 0;     // null when there is none

  virtual std::vector<ScreenFrames> screens() = 0;

  /// The application that has the keyboard. Absent when unknown.
  virtual std::optional<std::int32_t> frontmostApplication() = 0;
  /// Brings the application to the front and gives it the keyboard: its window `windowID` if that is still
  /// one of its windows, else the one that was last in front. Does nothing when the application is gone.
  virtual void activate(std::int32_t pid, std::optional<std::uint32_t> windowID) = 0;
};

}  // namespace quorl
