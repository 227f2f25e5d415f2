// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Windows/X11WindowControl.h>

#include <algorithm>

#include <QuorlHostLinux/X11/Displays/WorkAreas.h>
#include <QuorlHostLinux/X11/Windows/WindowCatalog.h>
#include <QuorlHostLinux/X11/Windows/WindowRequests.h>
#include <QuorlHostLinux/X11/Windows/X11AccessibleWindow.h>

namespace quorl {

namespace {

bool contains(const std::vector<CatalogWindow>& windows, std::uint32_t window) {
  return std::ranges::find(windows, window, &CatalogWindow::window) != windows.end();
}

// Without a window manager the keyboard may belong to a part of a window.
std::uint32_t activeOf(X11Connection& connection, const std::vector<CatalogWindow>& windows) {
  const std::uint32_t active = WindowRequests(connection).activeWindow();
  if (active == 0 || contains(windows, active)) return active;
  const auto place = findPlace(connection, active);
  return place && contains(windows, place->frame) ? place->frame : 0;
}

/// The window that activation brings forward; 0 when there is none.
std::uint32_t windowToActivate(const std::vector<CatalogWindow>& windows,
                               std::optional<std::uint32_t> wanted) {
  if (wanted && contains(windows, *wanted)) return *wanted;
  const auto shown = std::ranges::find(windows, false, &CatalogWindow::isMinimized);
  if (shown != windows.end()) return shown->window;
  return windows.empty() ? 0 : windows.front().window;
}

std::vector<Strut> readStruts(X11Connection& connection) {
  std::vector<std::pair<PropertyRequest, PropertyRequest>> requests;
  constexpr std::uint32_t longest = 13;  // one more than a valid value has
  for (const auto& window : readWindows(connection)) {
    if (!window.place.isViewable) continue;
    requests.emplace_back(
        PropertyRequest(connection, window.window, connection.atom("_NET_WM_STRUT_PARTIAL"), longest),
        PropertyRequest(connection, window.window, connection.atom("_NET_WM_STRUT"), longest));
  }
  std::vector<Strut> struts;
  for (auto& [partial, whole] : requests) {
    const auto numbers = partial.takeNumbers();
    std::ranges::copy(strutsOf(numbers, whole.takeNumbers()), std::back_inserter(struts));
  }
  return struts;
}

}  // namespace

std::optional<PointRect> X11WindowControl::windowBounds(std::uint32_t windowID) {
  return X11AccessibleWindow(session_, windowID).frame();
}

std::optional<std::vector<ListedWindow>> X11WindowControl::windowList(WindowScope scope) {
  return session_->ask([session = session_.get(), scope](X11Connection& connection) {
    const RootPosition origin = originOf(session->monitors(connection));
    std::vector<ListedWindow> list;
    for (auto& window : readWindows(connection)) {
      if (window.kind == WindowKind::desktop) continue;
      if (scope == WindowScope::onScreen && !window.isOnScreen()) continue;
      list.push_back({.windowID = window.window,
                      .pid = window.pid,
                      .layer = layerOf(window.kind),
                      .title = std::move(window.title),
                      .bounds = pointsOf(window.place.visible, origin),
                      .isOnScreen = window.isOnScreen()});
    }
    return list;
  });
}

std::vector<X11WindowControl::Window> X11WindowControl::accessibleWindows(std::int32_t pid) {
  const auto answer =
      session_->ask([pid](X11Connection& connection) { return readOrdinaryWindows(connection, pid); });
  std::vector<Window> windows;
  if (!answer) return windows;
  for (const auto& window : *answer)
    windows.push_back(std::make_shared<X11AccessibleWindow>(session_, window.window));
  return windows;
}

X11WindowControl::Window X11WindowControl::focusedWindow(std::int32_t pid) {
  const auto focused = session_->ask([pid](X11Connection& connection) {
    const auto windows = readOrdinaryWindows(connection, pid);
    const std::uint32_t active = activeOf(connection, windows);
    return contains(windows, active) ? active : 0;
  });
  if (focused.value_or(0) == 0) return nullptr;
  return std::make_shared<X11AccessibleWindow>(session_, *focused);
}

X11WindowControl::Window X11WindowControl::mainWindow(std::int32_t pid) {
  const auto main = session_->ask([pid](X11Connection& connection) {
    return windowToActivate(readOrdinaryWindows(connection, pid), std::nullopt);
  });
  if (main.value_or(0) == 0) return nullptr;
  return std::make_shared<X11AccessibleWindow>(session_, *main);
}

std::vector<ScreenFrames> X11WindowControl::screens() {
  auto answer = session_->ask([session = session_.get()](X11Connection& connection) {
    const auto& monitors = session->monitors(connection);
    const auto displays = displaysOf(monitors);
    const PixelSize root = connection.rootSize();
    const auto struts = readStruts(connection);
    std::vector<ScreenFrames> screens;
    for (std::size_t at = 0; at < monitors.size(); ++at) {
      const PixelRect free = freeArea(monitors[at].bounds, root, struts);
      screens.push_back({.frame = displays[at].bounds,
                         .visibleFrame = pointsOf(free, originOf(monitors)),
                         .isMain = displays[at].isMain});
    }
    return screens;
  });
  return std::move(answer).value_or(std::vector<ScreenFrames>{});
}

std::optional<std::int32_t> X11WindowControl::frontmostApplication() {
  const auto pid = session_->ask([](X11Connection& connection) {
    const std::uint32_t active = WindowRequests(connection).activeWindow();
    return active == 0 ? 0 : findProcess(connection, active);
  });
  return pid.value_or(0) > 0 ? pid : std::nullopt;
}

void X11WindowControl::activate(std::int32_t pid, std::optional<std::uint32_t> windowID) {
  const auto window = session_->ask([pid, windowID](X11Connection& connection) {
    return windowToActivate(readOrdinaryWindows(connection, pid), windowID);
  });
  if (window.value_or(0) != 0) X11AccessibleWindow(session_, *window).bringForward();
}

}  // namespace quorl
