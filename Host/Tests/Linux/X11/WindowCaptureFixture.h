// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <xcb/xcb.h>

#include <Support/Eventually.h>

#include "CaptureFixture.h"

namespace quorl::test {

/// An 800 x 600 X server, without a window manager unless the test names one. Windows of `client` belong to
/// the test's process.
class WindowCaptureFixture : public testing::Test {
 protected:
  explicit WindowCaptureFixture(XServer::WindowManager manager = XServer::WindowManager::none)
      : server({.width = 800, .height = 600, .windowManager = manager}) {}

  static constexpr PixelRect place{100, 100, 200, 150};

  /// A window that the server fills with this colour whenever a part of it appears.
  std::uint32_t makeWindow(const PixelRect& bounds, std::uint32_t color) {
    const auto window = client.makeWindow(bounds);
    client.setBackground(window, color);
    return window;
  }
  std::uint32_t makeBlueWindow() { return makeWindow(place, blue); }
  std::uint32_t makeRedMenu(const PixelRect& bounds) { return makeWindow(bounds, red); }
  std::unique_ptr<CaptureStream> start(std::uint32_t window, bool showsCursor = false) {
    return harness.start(WindowFilter{window}, settings(showsCursor), deliveries);
  }
  /// With more pictures than a test takes, because the deliveries keep them.
  static CaptureSettings settings(bool showsCursor = false) {
    auto result = settingsOf(place.width, place.height, showsCursor);
    result.queueDepth = 64;
    return result;
  }
  bool shows(int x, int y, std::uint32_t color) { return deliveries.waitForColor(x, y, color).has_value(); }
  /// As `shows`, in the newest picture or a later one.
  bool nowShows(int x, int y, std::uint32_t color) {
    const std::size_t count = deliveries.count();
    return deliveries.waitForColor(x, y, color, count == 0 ? 0 : count - 1).has_value();
  }
  /// True when no picture so far has this colour there.
  bool neverShowed(int x, int y, std::uint32_t color) {
    for (const auto& picture : deliveries.all())
      if (distance(colorAt(*picture.image, x, y), color) <= 4) return false;
    return true;
  }

  XServer server;
  TestClient client{server.display()};
  Deliveries deliveries;
  CaptureHarness harness{server.display()};
};

}  // namespace quorl::test
