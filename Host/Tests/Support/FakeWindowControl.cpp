// SPDX-License-Identifier: GPL-3.0-or-later
#include <Support/FakeWindowControl.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <utility>

#include <fmt/format.h>

namespace quorl::test {

namespace {

constexpr AccessibilityStatus invalidElement = -25202;  // what a platform returns for a window that is gone

double limited(double wanted, double minimum, double step) {
  const double least = std::max(wanted, minimum);
  return step > 0 ? std::floor(least / step) * step : least;
}

class FakeAccessibleWindow final : public AccessibleWindow {
 public:
  FakeAccessibleWindow(FakeWindowControl& control, std::uint32_t windowID)
      : control_(control), windowID_(windowID) {}

  std::optional<PointRect> frame() override {
    const auto* entry = ask("frame");
    return entry ? std::optional(entry->frame) : std::nullopt;
  }
  std::optional<std::string> title() override {
    const auto* entry = ask("title");
    return entry ? std::optional(entry->title) : std::nullopt;
  }
  std::optional<bool> isMinimized() override {
    const auto* entry = ask("isMinimized");
    return entry ? std::optional(entry->isMinimized) : std::nullopt;
  }
  AccessibilityStatus setSize(PointSize size) override {
    return write(fmt::format("setSize {} {}x{}", windowID_, size.width, size.height), [&](auto& entry) {
      entry.frame.size = {limited(size.width, entry.minimum.width, entry.step.width),
                          limited(size.height, entry.minimum.height, entry.step.height)};
    });
  }
  AccessibilityStatus setPosition(PointXY position) override {
    return write(fmt::format("setPosition {} {},{}", windowID_, position.x, position.y),
                 [&](auto& entry) { entry.frame.origin = position; });
  }
  AccessibilityStatus setMinimized(bool minimized) override {
    return write(fmt::format("setMinimized {} {}", windowID_, minimized), [&](auto& entry) {
      entry.isMinimized = minimized;
      entry.isOnScreen = !minimized;
    });
  }

 private:
  FakeWindowControl::Entry* ask(const char* what) {
    control_.note(fmt::format("{} {}", what, windowID_));
    return control_.find(windowID_);
  }
  template <class Change>
  AccessibilityStatus write(const std::string& call, Change change) {
    control_.note(call);
    auto* entry = control_.find(windowID_);
    if (!entry) return invalidElement;
    if (entry->status == 0 && !entry->ignoresWrites) change(*entry);
    return entry->status;
  }

  FakeWindowControl& control_;
  const std::uint32_t windowID_;
};

}  // namespace

FakeWindowControl::FakeWindowControl() {
  screenFrames.push_back({{{0, 0}, {1440, 832}}, {{0, 32}, {1440, 800}}, true});
}

void FakeWindowControl::note(const std::string& call) {
  if (beforeCall) beforeCall(call);
  calls.push_back(call);
}

FakeWindowControl::Entry* FakeWindowControl::find(std::uint32_t windowID) {
  const auto found = std::ranges::find(entries, windowID, &Entry::windowID);
  return found == entries.end() ? nullptr : &*found;
}

void FakeWindowControl::destroy(std::uint32_t windowID) {
  std::erase_if(entries, [=](const Entry& entry) { return entry.windowID == windowID; });
}

std::optional<PointRect> FakeWindowControl::windowBounds(std::uint32_t windowID) {
  note(fmt::format("windowBounds {}", windowID));
  const Entry* entry = answers ? find(windowID) : nullptr;
  return entry ? std::optional(entry->frame) : std::nullopt;
}

std::optional<std::vector<ListedWindow>> FakeWindowControl::windowList(WindowScope scope) {
  note(scope == WindowScope::all ? "windowList all" : "windowList onScreen");
  if (!answers) return std::nullopt;
  std::vector<ListedWindow> listed;
  for (const Entry& entry : entries)
    if (scope == WindowScope::all || entry.isOnScreen)
      listed.push_back({entry.windowID, entry.pid, entry.layer, entry.title, entry.frame, entry.isOnScreen});
  return listed;
}

std::vector<WindowControl::Window> FakeWindowControl::accessibleWindows(std::int32_t pid) {
  note(fmt::format("accessibleWindows {}", pid));
  std::vector<Window> windows;
  for (const Entry& entry : entries)
    if (entry.pid == pid && entry.isAccessible)
      windows.push_back(std::make_shared<FakeAccessibleWindow>(*this, entry.windowID));
  return windows;
}

WindowControl::Window FakeWindowControl::focusedWindow(std::int32_t pid) {
  note(fmt::format("focusedWindow {}", pid));
  const auto found = focused.find(pid);
  if (found == focused.end() || !find(found->second)) return nullptr;
  return std::make_shared<FakeAccessibleWindow>(*this, found->second);
}

WindowControl::Window FakeWindowControl::mainWindow(std::int32_t pid) {
  note(fmt::format("mainWindow {}", pid));
  const auto found = main.find(pid);
  if (found == main.end() || !find(found->second)) return nullptr;
  return std::make_shared<FakeAccessibleWindow>(*this, found->second);
}

std::vector<ScreenFrames> FakeWindowControl::screens() {
  note("screens");
  return screenFrames;
}

std::optional<std::int32_t> FakeWindowControl::frontmostApplication() {
  note("frontmostApplication");
  return frontmost;
}

void FakeWindowControl::activate(std::int32_t pid, std::optional<std::uint32_t> windowID) {
  note(windowID ? fmt::format("activate {} {}", pid, *windowID) : fmt::format("activate {}", pid));
  const bool isRunning = std::ranges::find(entries, pid, &Entry::pid) != entries.end();
  if (isRunning) frontmost = pid;
}

std::vector<std::string> FakeWindowControl::callsOf(const std::string& prefix) const {
  std::vector<std::string> found;
  std::ranges::copy_if(calls, std::back_inserter(found),
                       [&](const std::string& call) { return call.starts_with(prefix); });
  return found;
}

std::vector<std::string> FakeWindowControl::changes() const {
  std::vector<std::string> found;
  std::ranges::copy_if(calls, std::back_inserter(found), [](const std::string& call) {
    return call.starts_with("set") || call.starts_with("activate");
  });
  return found;
}

}  // namespace quorl::test
