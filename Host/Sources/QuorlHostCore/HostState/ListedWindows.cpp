// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/HostState/ListedWindows.h>

#include <cmath>
#include <string>
#include <unordered_map>

#include <QuorlKit/Foundation/TextTools.h>

namespace quorl {

namespace {

using Processes = std::optional<std::set<std::int32_t>>;

constexpr double minWindowWidth = 120;  // points
constexpr double minWindowHeight = 80;

bool isRegular(std::int32_t pid, const Processes& regular) {
  return pid > 0 && (!regular || regular->contains(pid));
}

bool isFinite(const PointRect& rect) {
  return std::isfinite(rect.origin.x) && std::isfinite(rect.origin.y) && std::isfinite(rect.size.width) &&
         std::isfinite(rect.size.height);
}

bool isListed(const ShareableWindow& window, const Processes& regular) {
  return window.layer == 0 && isFinite(window.frame) && window.frame.size.width >= minWindowWidth &&
         window.frame.size.height >= minWindowHeight && isRegular(window.pid, regular) &&
         !trimmedWhiteSpace(window.title).empty();
}

WindowInfo windowInfo(const ShareableWindow& window) {
  return {.id = window.windowID,
          .title = std::string(firstBytes(window.title, maxTitleBytes)),
          .appBundleID = window.bundleID.empty() ? std::nullopt : std::optional(window.bundleID),
          .appName = std::string(firstBytes(window.appName, maxTitleBytes)),
          .frame = window.frame,
          .isOnScreen = window.isOnScreen};
}

}  // namespace

std::vector<WindowInfo> listedWindows(const ShareableContent& content, const Processes& regular) {
  std::vector<WindowInfo> windows;
  for (const bool onScreen : {true, false})
    for (const ShareableWindow& window : content.windows)
      if (window.isOnScreen == onScreen && isListed(window, regular)) windows.push_back(windowInfo(window));
  return windows;
}

std::vector<RunningAppInfo> appsWithWindows(const ShareableContent& content,
                                            const std::vector<WindowInfo>& windows) {
  std::unordered_map<std::string, std::int64_t> windowCounts;
  for (const WindowInfo& window : windows)
    if (window.appBundleID) ++windowCounts[*window.appBundleID];
  std::vector<RunningAppInfo> apps;
  for (const ShareableApplication& application : content.applications) {
    const auto count = windowCounts.find(application.bundleID);
    if (count == windowCounts.end()) continue;
    apps.push_back({.bundleID = application.bundleID,
                    .name = std::string(firstBytes(application.name, maxTitleBytes)),
                    .pid = application.pid,
                    .windowCount = count->second,
                    .iconPNG = std::nullopt});
  }
  return apps;
}

}  // namespace quorl
