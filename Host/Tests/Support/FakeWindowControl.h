// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <QuorlHostCore/Ports/WindowControl.h>

namespace quorl::test {

/// Windows set by a test. It records every call in order, and a hook runs before each of them, so that
/// windows can vanish between any two calls.
///
/// *Queue*: the simulation's one thread.
/// *Lifetime*: outlives the accessible windows that it returned.
class FakeWindowControl : public WindowControl {
 public:
  struct Entry {
    std::uint32_t windowID = 0;
    std::int32_t pid = 0;
    std::string title;
    PointRect frame;
    int layer = 0;
    bool isOnScreen = true;
    bool isMinimized = false;
    bool isAccessible = true;
    AccessibilityStatus status = 0;  // of every write; another than 0 changes nothing
    bool ignoresWrites = false;      // they succeed and change nothing
    PointSize minimum;
    PointSize step;  // the size is a multiple of it; 0: any
  };

  FakeWindowControl();

  std::optional<PointRect> windowBounds(std::uint32_t windowID) override;
  std::optional<std::vector<ListedWindow>> windowList(WindowScope scope) override;
  std::vector<Window> accessibleWindows(std::int32_t pid) override;
  Window focusedWindow(std::int32_t pid) override;
  Window mainWindow(std::int32_t pid) override;
  std::vector<ScreenFrames> screens() override;
  std::optional<std::int32_t> frontmostApplication() override;
  void activate(std::int32_t pid, std::optional<std::uint32_t> windowID) override;

  /// Null when it is gone.
  Entry* find(std::uint32_t windowID);
  void destroy(std::uint32_t windowID);
  /// The calls whose text begins with `prefix`.
  std::vector<std::string> callsOf(const std::string& prefix) const;
  /// The calls that change a window or the front application.
  std::vector<std::string> changes() const;
  void note(const std::string& call);

  std::vector<Entry> entries;  // front to back
  bool answers = true;         // to questions for the list of windows and for a window's bounds
  std::vector<ScreenFrames> screenFrames;
  std::map<std::int32_t, std::uint32_t> focused;  // by process
  std::map<std::int32_t, std::uint32_t> main;
  std::optional<std::int32_t> frontmost;
  std::function<void(const std::string& call)> beforeCall;
  std::vector<std::string> calls;
};

}  // namespace quorl::test
