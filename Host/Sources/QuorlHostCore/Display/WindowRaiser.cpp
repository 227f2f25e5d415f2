// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Display/WindowRaiser.h>

#include <utility>
#include <vector>

#include <QuorlKit/Foundation/TextTools.h>

namespace quorl {

namespace {

void showAgain(WindowControl& control, std::int32_t pid, const std::string& title) {
  const std::vector<WindowControl::Window> windows = control.accessibleWindows(pid);
  const std::string_view wanted = trimmedWhiteSpace(title);
  if (!wanted.empty()) {
    for (const auto& window : windows) {
      const auto found = window->title();
      if (!found || trimmedWhiteSpace(*found) != wanted) continue;
      window->setMinimized(false);
      return;
    }
  }
  for (const auto& window : windows)
    if (window->isMinimized() == true) window->setMinimized(false);
}

}  // namespace

WindowRaiser::WindowRaiser(Scheduler& scheduler, std::shared_ptr<WindowControl> windows,
                           std::shared_ptr<MainThread> mainThread)
    : scheduler_(scheduler), windows_(std::move(windows)), mainThread_(std::move(mainThread)) {}

void WindowRaiser::activate(std::int32_t pid, std::optional<std::uint32_t> windowID) const {
  mainThread_->post([&scheduler = scheduler_, windows = windows_, pid, windowID] {
    scheduler.blocking([&] { windows->activate(pid, windowID); });
  });
}

void WindowRaiser::unminimize(std::int32_t pid, const std::string& title) const {
  scheduler_.blocking([&] { showAgain(*windows_, pid, title); });
}

void WindowRaiser::raise(std::int32_t pid, std::optional<Window> window, InputHold hold) const {
  mainThread_->post([&scheduler = scheduler_, windows = windows_, pid, window = std::move(window),
                     hold = std::move(hold)]() mutable {
    scheduler.blocking([&] {
      if (windows->frontmostApplication() == pid) return;
      if (window) showAgain(*windows, pid, window->title);
      windows->activate(pid, window ? std::optional(window->windowID) : std::nullopt);
    });
    hold.reset();
  });
}

}  // namespace quorl
