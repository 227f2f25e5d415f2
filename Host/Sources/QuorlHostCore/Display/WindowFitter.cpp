// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Display/WindowFitter.h>

#include <algorithm>
#include <vector>

#include <fmt/format.h>

#include <QuorlHostCore/Display/FitGeometry.h>
#include <QuorlHostCore/Log/Log.h>

namespace quorl {

namespace {

constexpr PointSize minimumFrontWindow{100, 60};
constexpr double closestMatch = 8;  // points, of all four values together

using Window = WindowControl::Window;

double areaOf(const ListedWindow& window) {
  return window.bounds.size.width * window.bounds.size.height;
}

bool mayBeFront(const ListedWindow& window, std::int32_t pid) {
  return window.pid == pid && window.layer == 0 && window.windowID != 0 &&
         window.bounds.size.width >= minimumFrontWindow.width &&
         window.bounds.size.height >= minimumFrontWindow.height;
}

Window matchByGeometry(const std::vector<Window>& windows, const PointRect& target) {
  Window best;
  double least = closestMatch;
  for (const Window& window : windows) {
    const auto frame = window->frame();
    if (!frame) continue;
    const double drift = frameDrift(*frame, target);
    if (!(drift < least)) continue;
    least = drift;
    best = window;
  }
  return best;
}

Window withTitle(const std::vector<Window>& windows, const std::string& title) {
  const auto found =
      std::ranges::find_if(windows, [&](const Window& each) { return each->title() == title; });
  return found == windows.end() ? nullptr : *found;
}

}  // namespace

std::optional<PointRect> WindowFitter::windowFrame(std::uint32_t windowID) const {
  return windows_.windowBounds(windowID);
}

std::optional<WindowFitter::FrontWindow> WindowFitter::frontWindow(std::int32_t pid) const {
  const auto windows = windows_.windowList(WindowScope::all);
  if (!windows) return std::nullopt;
  const ListedWindow* best = nullptr;
  for (const ListedWindow& window : *windows) {
    if (!mayBeFront(window, pid)) continue;
    const bool beats =
        !best || (window.isOnScreen != best->isOnScreen ? window.isOnScreen : areaOf(window) > areaOf(*best));
    if (beats) best = &window;
  }
  if (!best) return std::nullopt;
  return FrontWindow{best->windowID, best->title, best->isOnScreen};
}

WindowControl::Window WindowFitter::findAXWindow(std::int32_t pid, const std::string& title,
                                                 const std::optional<PointRect>& targetFrame) const {
  const std::vector<Window> windows = windows_.accessibleWindows(pid);
  if (targetFrame)
    if (auto match = matchByGeometry(windows, *targetFrame)) return match;
  const auto focused = [&] { return windows_.focusedWindow(pid); };
  if (title.empty()) {
    if (auto window = focused()) return window;
  } else {
    if (auto window = withTitle(windows, title)) return window;
    if (auto window = focused(); window && window->title() == title) return window;
  }
  if (auto window = windows_.mainWindow(pid)) return window;
  if (windows.size() == 1) return windows.front();
  if (auto window = focused()) return window;
  return windows.empty() ? nullptr : windows.front();
}

std::optional<PointRect> WindowFitter::fit(AccessibleWindow& window, const PointRect& currentFrame,
                                           double aspect, double scale) const {
  const std::vector<ScreenFrames> screens = windows_.screens();
  const ScreenFrames* screen = screenContaining(screens, currentFrame);
  if (!screen) return std::nullopt;
  const auto frame = fittedFrame(screen->visibleFrame, currentFrame, aspect, scale);
  if (frame) setFrame(window, *frame);
  return frame;
}

void WindowFitter::setFrame(AccessibleWindow& window, const PointRect& frame) const {
  const AccessibilityStatus size = window.setSize(frame.size);
  const AccessibilityStatus position = window.setPosition(frame.origin);
  const AccessibilityStatus sizeAgain = window.setSize(frame.size);
  if (size != 0 || position != 0 || sizeAgain != 0)
    Log::stream.error(fmt::format("fit AX set errors: size={} pos={} size2={}", size, position, sizeAgain));
}

}  // namespace quorl
