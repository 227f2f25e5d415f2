// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Display/TargetResolution.h>

#include <algorithm>

#include <fmt/format.h>

namespace quorl {

namespace {

constexpr PointSize minimumFrontWindow{100, 60};

using Result = std::expected<ResolvedTarget, WireError>;

std::unexpected<WireError> notFound(const StreamTarget& target) {
  return std::unexpected(targetNotFound(target));
}

const ShareableDisplay* mainDisplay(const ShareableContent& content) {
  const auto found = std::ranges::find_if(content.displays, &ShareableDisplay::isMain);
  if (found != content.displays.end()) return &*found;
  return content.displays.empty() ? nullptr : &content.displays.front();
}

ResolvedTarget wholeDisplay(const ShareableDisplay& display) {
  return {.filter = DisplayFilter{display.displayID}, .contentRect = display.bounds};
}

ResolvedTarget singleWindow(const ShareableWindow& window) {
  ResolvedTarget resolved{.filter = WindowFilter{window.windowID}, .contentRect = window.frame};
  resolved.window = ResolvedTarget::Window{window.windowID, window.pid, window.title, window.isOnScreen};
  if (window.pid > 0) resolved.inputPID = window.pid;
  return resolved;
}

PointRect unionOfWindows(const std::vector<ShareableWindow>& windows, std::int32_t pid) {
  PointRect all;
  for (const ShareableWindow& window : windows)
    if (window.pid == pid && window.layer == 0 && window.isOnScreen) all = all.unionWith(window.frame);
  return all;
}

const ShareableWindow* windowWithID(const std::vector<ShareableWindow>& windows, std::uint32_t windowID) {
  const auto found = std::ranges::find(windows, windowID, &ShareableWindow::windowID);
  return found == windows.end() ? nullptr : &*found;
}

struct Resolver {
  const ShareableContent& content;
  const FrontWindowLookup& lookUpFront;

  Result operator()(const streamTarget::Display& target) const {
    const auto found = std::ranges::find(content.displays, target.id, &ShareableDisplay::displayID);
    if (found == content.displays.end()) return notFound(target);
    return wholeDisplay(*found);
  }

  Result operator()(const streamTarget::Unified&) const {
    const ShareableDisplay* display = mainDisplay(content);
    if (!display) return notFound(streamTarget::Unified{});
    return wholeDisplay(*display);
  }

  Result operator()(const streamTarget::Window& target) const {
    const ShareableWindow* found = windowWithID(content.windows, target.id);
    if (!found) return notFound(target);
    return singleWindow(*found);
  }

  Result operator()(const streamTarget::App& target) const {
    const auto found =
        std::ranges::find(content.applications, target.bundleID, &ShareableApplication::bundleID);
    if (found == content.applications.end()) return notFound(target);
    if (const ShareableWindow* front = frontWindowOf(found->pid)) {
      ResolvedTarget resolved = singleWindow(*front);
      resolved.appPIDs = {found->pid};
      resolved.inputPID = found->pid;
      return resolved;
    }
    return windowlessApp(*found);
  }

  const ShareableWindow* frontWindowOf(std::int32_t pid) const {
    if (!lookUpFront) return frontWindow(content.windows, pid);
    const auto windowID = lookUpFront(pid);
    return windowID ? windowWithID(content.windows, *windowID) : nullptr;
  }

  Result windowlessApp(const ShareableApplication& application) const {
    const ShareableDisplay* display = mainDisplay(content);
    if (!display) return notFound(streamTarget::Unified{});
    ResolvedTarget resolved{.filter = ApplicationFilter{display->displayID, application.pid},
                            .contentRect = unionOfWindows(content.windows, application.pid)};
    if (resolved.contentRect.isEmpty()) resolved.contentRect = display->bounds;
    resolved.appPIDs = {application.pid};
    resolved.inputPID = application.pid;
    resolved.isWindowlessApp = true;
    return resolved;
  }
};

struct NotFoundText {
  std::string operator()(const streamTarget::Display& target) const {
    return fmt::format("display {} not found", target.id);
  }
  std::string operator()(const streamTarget::Unified&) const { return "no displays available"; }
  std::string operator()(const streamTarget::Window& target) const {
    return fmt::format("window {} not found", target.id);
  }
  std::string operator()(const streamTarget::App& target) const {
    return fmt::format("app {} not running", target.bundleID);
  }
};

}  // namespace

WireError targetNotFound(const StreamTarget& target) {
  return {"stream.target", std::visit(NotFoundText{}, target)};
}

std::expected<ResolvedTarget, WireError> resolveTarget(const StreamTarget& target,
                                                       const ShareableContent& content,
                                                       const FrontWindowLookup& lookUpFront) {
  return std::visit(Resolver{content, lookUpFront}, target);
}

const ShareableWindow* frontWindow(const std::vector<ShareableWindow>& windows, std::int32_t pid) {
  const ShareableWindow* best = nullptr;
  const auto area = [](const ShareableWindow& window) {
    return window.frame.size.width * window.frame.size.height;
  };
  for (const ShareableWindow& window : windows) {
    const PointSize& size = window.frame.size;
    if (window.pid != pid || window.layer != 0) continue;
    if (size.width < minimumFrontWindow.width || size.height < minimumFrontWindow.height) continue;
    const bool beats =
        !best || (window.isOnScreen != best->isOnScreen ? window.isOnScreen : area(window) > area(*best));
    if (beats) best = &window;
  }
  return best;
}

}  // namespace quorl
