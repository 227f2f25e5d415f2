// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include <QuorlHostCore/Ports/WindowControl.h>
#include <QuorlHostLinux/X11/Windows/WindowSession.h>

namespace quorl {

/// Windows by the Extended Window Manager Hints. A window's number is that of the client's window; the frame
/// around it ends with the window manager. Without a window manager, the viewable children of the root are
/// the windows, and changes are made directly.
///
/// *Queue*, *Blocking*: as `X11AccessibleWindow`. *Ownership*: shares the session.
class X11WindowControl final : public WindowControl {
 public:
  explicit X11WindowControl(std::shared_ptr<WindowSession> session) : session_(std::move(session)) {}

  std::optional<PointRect> windowBounds(std::uint32_t windowID) override;
  std::optional<std::vector<ListedWindow>> windowList(WindowScope scope) override;
  std::vector<Window> accessibleWindows(std::int32_t pid) override;
  Window focusedWindow(std::int32_t pid) override;
  Window mainWindow(std::int32_t pid) override;
  std::vector<ScreenFrames> screens() override;
  std::optional<std::int32_t> frontmostApplication() override;
  void activate(std::int32_t pid, std::optional<std::uint32_t> windowID) override;

 private:
  std::shared_ptr<WindowSession> session_;
};

}  // namespace quorl
