// SPDX-License-Identifier: GPL-3.0-or-later
// Menus of real programs in the pictures of their windows: the same as on the screen.
#include <algorithm>

#include <Support/Eventually.h>
#include <Support/XServerFixture.h>

#include "CaptureFixture.h"

namespace quorl::test {
namespace {

class ToolkitMenus : public testing::Test {
 protected:
  std::optional<ShareableWindow> waitFor(const std::string& title) {
    std::optional<ShareableWindow> found;
    eventually(
        [&] {
          for (const auto& window : harness.content().windows)
            if (window.title == title && window.isOnScreen) found = window;
          return found.has_value();
        },
        std::chrono::seconds(30));
    return found;
  }
  /// The window's frame on the screen, cut to even sides.
  static PixelRect placeOf(const ShareableWindow& window) {
    return {static_cast<int>(window.frame.origin.x), static_cast<int>(window.frame.origin.y),
            static_cast<int>(window.frame.size.width) & ~1, static_cast<int>(window.frame.size.height) & ~1};
  }
  std::vector<int> lumaOf(const PictureBuffer& picture) {
    std::vector<int> result;
    for (std::size_t y = 0; y < static_cast<std::size_t>(picture.size.height); ++y)
      for (std::size_t x = 0; x < static_cast<std::size_t>(picture.size.width); ++x)
        result.push_back(picture.luma[y * picture.lumaStride + x]);
    return result;
  }
  std::vector<int> lumaOfScreen(const PixelRect& place) {
    std::vector<int> result;
    for (const auto pixel : client.read(place)) {
      const double luma = 16 + 0.256788 * ((pixel >> 16) & 0xFF) + 0.504129 * ((pixel >> 8) & 0xFF) +
                          0.097906 * (pixel & 0xFF);
      result.push_back(static_cast<int>(luma + 0.5));
    }
    return result;
  }
  static int worstDifference(const std::vector<int>& a, const std::vector<int>& b) {
    int worst = 0;
    for (std::size_t i = 0; i < std::min(a.size(), b.size()); ++i)
      worst = std::max(worst, std::abs(a[i] - b[i]));
    return worst;
  }
  static std::size_t countDifferent(const std::vector<int>& a, const std::vector<int>& b) {
    std::size_t count = 0;
    for (std::size_t i = 0; i < std::min(a.size(), b.size()); ++i)
      if (std::abs(a[i] - b[i]) > 20) ++count;
    return count;
  }
  /// Waits until the newest picture is what the screen shows, and differs from `before` in at least that
  /// number of pixels.
  bool showsTheScreen(const PixelRect& place, const std::vector<int>& before, std::size_t different) {
    return eventually(
        [&] {
          const auto seen = lumaOf(*deliveries.all().back().image);
          return worstDifference(seen, lumaOfScreen(place)) <= 2 && countDifferent(seen, before) >= different;
        },
        std::chrono::seconds(30));
  }
  std::unique_ptr<CaptureStream> start(const ShareableWindow& window) {
    const PixelRect place = placeOf(window);
    auto settings = settingsOf(place.width, place.height);
    settings.queueDepth = 256;
    return harness.start(WindowFilter{window.windowID}, settings, deliveries);
  }

  XServer server{{.width = 800, .height = 600, .windowManager = XServer::WindowManager::openbox}};
  TestClient client{server.display()};
  Deliveries deliveries;
  CaptureHarness harness{server.display()};
};

TEST_F(ToolkitMenus, areShownOverATerminal) {
  const auto terminal = server.start({"xterm", "-T", "terminal", "-geometry", "60x24+100+50", "-e", "cat"});
  const auto window = waitFor("terminal");
  ASSERT_TRUE(window);
  const auto stream = start(*window);
  const PixelRect place = placeOf(*window);
  ASSERT_TRUE(showsTheScreen(place, {}, 0));
  const auto before = lumaOf(*deliveries.all().back().image);
  client.movePointer(place.x + 60, place.y + 60);
  server.run({"xdotool", "keydown", "ctrl", "mousedown", "1"});
  EXPECT_TRUE(showsTheScreen(place, before, 5'000));
  const auto open = lumaOf(*deliveries.all().back().image);
  server.run({"xdotool", "mouseup", "1", "keyup", "ctrl"});
  EXPECT_TRUE(showsTheScreen(place, open, 5'000));
}

TEST_F(ToolkitMenus, areShownOverAQtWindow) {
  const auto program = server.start({QUORL_QT_MENU_TARGET, "-platform", "xcb"});
  const auto window = waitFor("Menu target");
  ASSERT_TRUE(window);
  const auto stream = start(*window);
  const PixelRect place = placeOf(*window);
  ASSERT_TRUE(showsTheScreen(place, {}, 0));
  const auto before = lumaOf(*deliveries.all().back().image);
  client.movePointer(place.x + place.width / 2, place.y + 42);
  server.run({"xdotool", "click", "1"});
  EXPECT_TRUE(showsTheScreen(place, before, 1'000));
  const auto open = lumaOf(*deliveries.all().back().image);
  server.run({"xdotool", "key", "Escape"});
  EXPECT_TRUE(showsTheScreen(place, open, 1'000));
}

}  // namespace
}  // namespace quorl::test
