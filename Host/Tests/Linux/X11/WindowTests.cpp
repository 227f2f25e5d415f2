// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <QuorlHostLinux/Pictures/DirtyRegion.h>
#include <QuorlHostLinux/X11/Displays/DisplayList.h>
#include <Support/Eventually.h>
#include <Support/XServerFixture.h>

#include "CaptureHarness.h"
#include "TestClient.h"

namespace quorl::test {
namespace {

constexpr std::uint32_t red = 0xFF0000;
constexpr std::uint32_t blue = 0x0000FF;

class Windows : public testing::Test {
 protected:
  std::optional<ShareableWindow> find(const std::string& title) {
    for (const auto& window : harness.content().windows) {
      if (window.title == title) return window;
    }
    return std::nullopt;
  }
  std::optional<ShareableWindow> waitFor(const std::string& title) {
    std::optional<ShareableWindow> found;
    eventually([&] { return (found = find(title)) && found->isOnScreen; });
    return found;
  }
  CaptureSettings settingsOf(const ShareableWindow& window) {
    const auto even = [](double side) { return static_cast<int>(side) & ~1; };
    return {.size = {even(window.frame.size.width), even(window.frame.size.height)},
            .minimumFrameInterval = std::chrono::milliseconds(1),
            .showsCursor = false};
  }

  XServer server{{.width = 800, .height = 600, .windowManager = XServer::WindowManager::openbox}};
  TestClient client{server.display()};
  Deliveries deliveries;
  CaptureHarness harness{server.display()};
};

TEST_F(Windows, listsWindowsFrontToBackWithTheirProcessesAndFrames) {
  const auto terminal = server.start({"xterm", "-T", "terminal", "-geometry", "40x10+100+50", "-e", "cat"});
  ASSERT_TRUE(waitFor("terminal"));
  const auto eyes = server.start({"xeyes", "-geometry", "200x100+400+300"});
  ASSERT_TRUE(waitFor("xeyes"));
  const auto content = harness.content();
  ASSERT_EQ(content.windows.size(), 2U);
  EXPECT_EQ(content.windows[0].title, "xeyes");
  EXPECT_EQ(content.windows[0].pid, eyes.pid());
  EXPECT_EQ(content.windows[1].pid, terminal.pid());
  EXPECT_EQ(content.windows[1].bundleID.empty(), false);
  EXPECT_TRUE(content.windows[1].isOnScreen);
  // The frame with the window manager's decoration: larger than the window, at the place asked for.
  const auto& frame = content.windows[0].frame;
  EXPECT_GE(frame.size.width, 200);
  EXPECT_GT(frame.size.height, 100);
  EXPECT_NEAR(frame.origin.x, 400, 2);
  EXPECT_NEAR(frame.origin.y, 300, 2);
  ASSERT_EQ(content.applications.size(), 2U);
  EXPECT_EQ(content.applications[0].pid, eyes.pid());
}

TEST_F(Windows, listsAWindowWhoseTitleIsNotUTF8) {
  client.makeWindow({50, 50, 100, 80}, TestClient::Managed::yes, "caf\xE9");
  EXPECT_TRUE(waitFor("café"));
}

TEST_F(Windows, prefersTheUTF8Title) {
  const auto window = client.makeWindow({50, 50, 100, 80}, TestClient::Managed::yes, "old");
  server.run({"env", "LC_ALL=C.UTF-8", "xprop", "-id", std::to_string(window), "-f", "_NET_WM_NAME", "8u",
              "-set", "_NET_WM_NAME", "Grüße 世界"});
  EXPECT_TRUE(waitFor("Grüße 世界"));
}

TEST_F(Windows, capturesThePartsOfAWindowThatAnotherCovers) {
  const auto window = client.makeWindow({100, 100, 200, 150}, TestClient::Managed::yes, "covered");
  const auto listed = waitFor("covered");
  ASSERT_TRUE(listed);
  EXPECT_EQ(listed->windowID, window);
  client.makeWindow({0, 0, 800, 600}, TestClient::Managed::yes, "cover");
  ASSERT_TRUE(waitFor("cover"));
  const auto stream = harness.start(WindowFilter{window}, settingsOf(*listed), deliveries);
  client.fill(window, {0, 0, 200, 150}, red);
  const int x = settingsOf(*listed).size.width / 2;
  const int y = settingsOf(*listed).size.height - 60;
  EXPECT_TRUE(deliveries.waitForColor(x, y, red));
  client.fill(window, {0, 0, 200, 150}, blue);
  EXPECT_TRUE(deliveries.waitForColor(x, y, blue));
}

TEST_F(Windows, keepsCapturingAWindowThatIsResized) {
  const auto window = client.makeWindow({100, 100, 200, 150}, TestClient::Managed::yes, "changing");
  const auto listed = waitFor("changing");
  ASSERT_TRUE(listed);
  const auto settings = settingsOf(*listed);
  const auto stream = harness.start(WindowFilter{window}, settings, deliveries);
  client.moveResize(window, {100, 100, 300, 250});
  ASSERT_TRUE(eventually([&] { return find("changing")->frame.size.width >= 300; }));
  client.fill(window, {0, 0, 300, 250}, red);
  const auto resized = deliveries.waitForColor(settings.size.width / 2, settings.size.height - 60, red);
  ASSERT_TRUE(resized);
  EXPECT_EQ(resized->image->size, settings.size);
}

TEST_F(Windows, endsTheStreamOfAWindowThatIsClosed) {
  const auto window = client.makeWindow({100, 100, 200, 150}, TestClient::Managed::yes, "short");
  const auto listed = waitFor("short");
  ASSERT_TRUE(listed);
  const auto stream = harness.start(WindowFilter{window}, settingsOf(*listed), deliveries);
  client.destroy(window);
  const auto error = deliveries.waitForStop();
  ASSERT_TRUE(error);
  EXPECT_EQ(error->description, "the window was closed");
}

TEST_F(Windows, refusesAWindowThatDoesNotExist) {
  EXPECT_FALSE(harness.startResult(WindowFilter{0x1FFFFFFF}, {.size = {100, 100}}, deliveries).has_value());
  EXPECT_FALSE(harness.geometry(WindowFilter{0x1FFFFFFF}).has_value());
}

TEST(DisplayList, takesThePrimaryMonitorAsTheMainOneElseTheOneAtTheOriginElseTheFirst) {
  const Monitor left{"L", {0, 0, 100, 100}, false};
  const Monitor right{"R", {100, 0, 100, 100}, false};
  Monitor primary = right;
  primary.isPrimary = true;
  EXPECT_TRUE(displaysOf({left, primary})[1].isMain);
  EXPECT_FALSE(displaysOf({left, primary})[0].isMain);
  EXPECT_TRUE(displaysOf({right, left})[1].isMain);
  EXPECT_TRUE(displaysOf({right})[0].isMain);
  EXPECT_TRUE(displaysOf({}).empty());
}

TEST(DisplayList, namesADisplayByAHashThatIsNeverZero) {
  EXPECT_EQ(displayIDOf(""), 0x811C9DC5U);
  EXPECT_EQ(displayIDOf("a"), 0xE40C292CU);  // test vectors of FNV-1a
  EXPECT_EQ(displayIDOf("foobar"), 0xBF9CF968U);
}

TEST(DirtyRegion, coversWhatWasAddedWithFewRectangles) {
  DirtyRegion region;
  for (int i = 0; i < 100; ++i) region.add({(i * 37) % 1000, (i * 91) % 700, 10, 10});
  EXPECT_LE(region.rects().size(), DirtyRegion::maxRects);
  for (int i = 0; i < 100; ++i) {
    const PixelRect added{(i * 37) % 1000, (i * 91) % 700, 10, 10};
    for (int x = added.x; x < added.x + 10; ++x) {
      const PixelRect pixel{x, added.y, 1, 1};
      EXPECT_TRUE(
          std::ranges::any_of(region.rects(), [&](const auto& rect) { return rect.contains(pixel); }));
    }
  }
}

TEST(DirtyRegion, keepsFarRectanglesApartAndJoinsTouchingOnes) {
  DirtyRegion region;
  region.add({0, 0, 64, 64});
  region.add({1000, 900, 64, 64});
  EXPECT_EQ(region.rects().size(), 2U);
  region.add({64, 0, 64, 64});
  EXPECT_EQ(region.rects().size(), 2U);
  EXPECT_EQ(region.area(), 3 * 64 * 64);
  region.add({5, 5, 0, 10});
  EXPECT_EQ(region.area(), 3 * 64 * 64);
}

}  // namespace
}  // namespace quorl::test
