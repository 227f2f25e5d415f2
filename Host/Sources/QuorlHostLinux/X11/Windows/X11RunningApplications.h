// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>
#include <optional>
#include <set>
#include <string>

#include <QuorlHostCore/Ports/RunningApplications.h>
#include <QuorlHostLinux/Icons/ApplicationIcons.h>
#include <QuorlHostLinux/X11/Windows/WindowSession.h>

namespace quorl {

/// Applications are the processes with a window that a task bar would show. Their icons come from the icon
/// theme by their desktop files, else from their windows.
///
/// *Queue*: any thread; calls may overlap. *Blocking*: `WindowSession::answerLimit` for the server; reads
/// files. *Ownership*: shares the session.
class X11RunningApplications final : public RunningApplications {
 public:
  X11RunningApplications(std::shared_ptr<WindowSession> session, ApplicationIcons icons)
      : session_(std::move(session)), icons_(std::move(icons)) {}

  std::set<std::int32_t> regularApplications() override;
  std::optional<Bytes> iconPNG(const std::string& bundleID, std::int32_t pid, int side) override;

 private:
  std::optional<IconImage> windowIcon(std::int32_t pid, int side);

  std::shared_ptr<WindowSession> session_;
  ApplicationIcons icons_;
};

}  // namespace quorl
