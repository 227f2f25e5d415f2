// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/HostState/HostStateProvider.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <string_view>
#include <utility>

#include <fmt/format.h>

#include <QuorlHostCore/Log/Log.h>

namespace quorl {

namespace {

constexpr double minWindowWidth = 120;  // points
constexpr double minWindowHeight = 80;

bool isBlank(std::string_view text) {
  return text.find_first_not_of(" \t\r\n\v\f") == std::string_view::npos;
}

DisplayInfo displayInfo(const ShareableDisplay& display) {
  const auto pixels = [&](double points) {
    return static_cast<std::int64_t>(std::lround(points * display.pixelScale));
  };
  return {.id = display.displayID,
          .name = display.name.empty() ? fmt::format("Display {}", display.displayID) : display.name,
          .pixelWidth = pixels(display.bounds.size.width),
          .pixelHeight = pixels(display.bounds.size.height),
          .scale = display.pixelScale,
          .isMain = display.isMain};
}

bool isListed(const ShareableWindow& window) {
  return window.pid > 0 && window.frame.size.width >= minWindowWidth &&
         window.frame.size.height >= minWindowHeight && !isBlank(window.title);
}

WindowInfo windowInfo(const ShareableWindow& window) {
  return {.id = window.windowID,
          .title = window.title,
          .appBundleID = window.bundleID.empty() ? std::nullopt : std::optional(window.bundleID),
          .appName = window.appName,
          .frame = window.frame,
          .isOnScreen = window.isOnScreen};
}

std::vector<RunningAppInfo> appsWithWindows(const ShareableContent& content,
                                            const std::vector<WindowInfo>& windows) {
  std::map<std::string, std::int64_t> windowCounts;
  for (const WindowInfo& window : windows)
    if (window.appBundleID) ++windowCounts[*window.appBundleID];
  std::vector<RunningAppInfo> apps;
  for (const ShareableApplication& application : content.applications) {
    const auto count = windowCounts.find(application.bundleID);
    if (count == windowCounts.end()) continue;
    apps.push_back({.bundleID = application.bundleID,
                    .name = application.name,
                    .pid = application.pid,
                    .windowCount = count->second,
                    .iconPNG = std::nullopt});
  }
  return apps;
}

}  // namespace

HostState hostStateFromContent(const ShareableContent& content) {
  HostState state;
  for (const ShareableDisplay& display : content.displays) state.displays.push_back(displayInfo(display));
  for (const bool onScreen : {true, false})
    for (const ShareableWindow& window : content.windows)
      if (window.isOnScreen == onScreen && isListed(window)) state.windows.push_back(windowInfo(window));
  state.apps = appsWithWindows(content, state.windows);
  return state;
}

// One request. The platform's answer or the time limit takes the completion, whichever comes first.
struct HostStateProvider::Answer {
  Completion completion;
  Timer limit;
};

HostStateProvider::HostStateProvider(Scheduler& scheduler, std::shared_ptr<ScreenCapture> screen)
    : queue_(scheduler, "quorl.hoststate", QueueRank::service), screen_(std::move(screen)) {}

void HostStateProvider::deliver(const std::shared_ptr<Answer>& answer, HostState state) {
  if (!answer->completion) return;
  const Completion completion = std::exchange(answer->completion, nullptr);
  answer->limit.cancel();
  completion(std::move(state));
}

void HostStateProvider::buildState(Completion completion) {
  queue_.async([self = shared_from_this(), completion = std::move(completion)]() mutable {
    auto answer = std::make_shared<Answer>();
    answer->completion = std::move(completion);
    answer->limit = self->queue_.after(enumerationLimit, [answer] { deliver(answer, HostState{}); });
    self->screen_->shareableContent(
        [queue = self->queue_, answer](std::expected<ShareableContent, PortError> content) {
          queue.async([answer, content = std::move(content)] {
            if (!content)
              Log::app.error(fmt::format("shareable content failed: {}", content.error().description));
            deliver(answer, content ? hostStateFromContent(*content) : HostState{});
          });
        });
  });
}

}  // namespace quorl
