// SPDX-License-Identifier: GPL-3.0-or-later
#include <atomic>
#include <memory>
#include <optional>

#include <gtest/gtest.h>

#include <QuorlHostLinux/X11/Displays/X11DisplayCatalog.h>

#include "TestWindows.h"

namespace quorl::test {
namespace {

class DisplayCatalogTest : public testing::Test {
 protected:
  bool becomes(std::size_t count) {
    return eventually([&] { return catalog.activeDisplays(16).size() == count; }, patience);
  }

  XServer server{{.width = 800, .height = 600}};
  TestClient client{server.display()};
  X11DisplayCatalog catalog{[display = server.display()] { return std::optional(display); }};
};

TEST_F(DisplayCatalogTest, hasTheScreenWithItsModeAndName) {
  ASSERT_TRUE(becomes(1));
  const auto id = catalog.activeDisplays(16)[0];
  EXPECT_EQ(catalog.onlineDisplays(16), catalog.activeDisplays(16));
  const auto facts = catalog.facts(id);
  ASSERT_TRUE(facts);
  EXPECT_EQ(facts->bounds, (PointRect{{0, 0}, {800, 600}}));
  ASSERT_TRUE(facts->mode);
  EXPECT_EQ(facts->mode->pixelWidth, 800);
  EXPECT_EQ(facts->mode->pixelHeight, 600);
  EXPECT_EQ(facts->mode->pointWidth, 800);
  EXPECT_EQ(facts->name, "screen");
  EXPECT_FALSE(facts->isBuiltIn);
  EXPECT_TRUE(facts->isMain);
  EXPECT_EQ(catalog.facts(id + 1), std::nullopt);
}

TEST_F(DisplayCatalogTest, followsMonitorsThatComeMoveAndGo) {
  ASSERT_TRUE(becomes(1));
  client.setMonitor("LEFT", {0, 0, 400, 600});
  client.setMonitor("RIGHT", {400, 0, 400, 600}, true);
  ASSERT_TRUE(becomes(2));
  const auto right = displayIDOf("RIGHT");
  EXPECT_TRUE(eventually([&] { return catalog.facts(right) && catalog.facts(right)->isMain; }, patience));
  EXPECT_EQ(catalog.facts(displayIDOf("LEFT"))->bounds.origin, (PointXY{-400, 0}));
  EXPECT_EQ(catalog.activeDisplays(1).size(), 1U) << "no more than the limit";
  EXPECT_EQ(catalog.onlineDisplays(0).size(), 0U);
  server.run({"xrandr", "--delmonitor", "RIGHT"});
  EXPECT_TRUE(eventually([&] { return !catalog.facts(right); }, patience));
}

TEST_F(DisplayCatalogTest, isEmptyOnceTheServerIsGone) {
  ASSERT_TRUE(becomes(1));
  server.kill();
  EXPECT_TRUE(becomes(0));
  EXPECT_TRUE(catalog.onlineDisplays(16).empty());
}

TEST(DisplayCatalog, mayEndWhileItConnects) {
  const XServer server;
  for (int round = 0; round < 200; ++round) {
    std::atomic<bool> isAsked = false;
    const auto catalog = std::make_unique<X11DisplayCatalog>([&]() -> std::optional<std::string> {
      isAsked = true;
      return server.display();
    });
    EXPECT_TRUE(round % 2 == 0 || eventually([&] { return isAsked.load(); }, patience));
  }
}

TEST(DisplayCatalog, findsAServerThatComesLater) {
  std::atomic<const std::string*> display{nullptr};
  X11DisplayCatalog catalog([&]() -> std::optional<std::string> {
    const std::string* name = display;
    return name == nullptr ? std::nullopt : std::optional(*name);
  });
  EXPECT_TRUE(catalog.activeDisplays(16).empty());
  const XServer server;
  display = &server.display();
  EXPECT_TRUE(eventually([&] { return catalog.activeDisplays(16).size() == 1; }, patience));
}

}  // namespace
}  // namespace quorl::test
