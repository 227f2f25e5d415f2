// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include <QuorlHostCore/Concurrency/Scheduler.h>
#include <QuorlHostCore/Ports/MainThread.h>
#include <QuorlHostCore/Ports/WindowControl.h>
#include <QuorlHostCore/Shared/InputHold.h>

namespace quorl {

/// Brings windows back from the dock and applications to the front. It keeps no state of its own.
///
/// *Queue*: any.
/// *Blocking*: `unminimize` waits for the application as blocking work. The others only post to the main
/// thread, where the work waits in the same way.
/// *Ownership*: shares the ports; the scheduler is borrowed.
/// *Lifetime*: posted work keeps the ports alive.
class WindowRaiser {
 public:
  struct Window {
    std::uint32_t windowID = 0;
    std::string title;
  };

  WindowRaiser(Scheduler& scheduler, std::shared_ptr<WindowControl> windows,
               std::shared_ptr<MainThread> mainThread);

  /// Does nothing for a process that is gone.
  void activate(std::int32_t pid, std::optional<std::uint32_t> windowID) const;

  /// Shows the window with this title again. Without a title, or if no window has it, shows all minimised
  /// windows of the application.
  void unminimize(std::int32_t pid, const std::string& title) const;

  /// Shows `window` and activates the process, unless it is the frontmost application, and lets go of `hold`
  /// afterwards.
  void raise(std::int32_t pid, std::optional<Window> window, InputHold hold = nullptr) const;

 private:
  Scheduler& scheduler_;
  const std::shared_ptr<WindowControl> windows_;
  const std::shared_ptr<MainThread> mainThread_;
};

}  // namespace quorl
