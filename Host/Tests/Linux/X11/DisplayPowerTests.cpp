// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Power/X11DisplayPower.h>

#include <memory>
#include <optional>

#include <gtest/gtest.h>
#include <xcb/screensaver.h>

#include <QuorlHostLinux/X11/Connection/XcbReply.h>

#include "TestWindows.h"

namespace quorl::test {
namespace {

// Xvfb has the screen saver and no DPMS.
class DisplayPowerTest : public testing::Test {
 protected:
  X11DisplayName display() {
    return [name = server.display()] { return std::optional(name); };
  }
  // The server blanks its screen when its saver is active.
  bool isBlank() {
    const XcbReply<xcb_screensaver_query_info_reply_t> info(xcb_screensaver_query_info_reply(
        client->xcb(), xcb_screensaver_query_info(client->xcb(), client->root()), nullptr));
    EXPECT_TRUE(info);
    return info && info->state == XCB_SCREENSAVER_STATE_ON;
  }
  // Whether an idle server blanks its screen: its saver starts after a second.
  bool blanksWhenIdle(std::chrono::seconds limit) {
    server.run({"xset", "s", "1", "1"});
    return eventually([&] { return isBlank(); }, limit);
  }

  XServer server{{.width = 320, .height = 200}};
  std::unique_ptr<X11Connection> client = *X11Connection::open(display());
  X11DisplayPower power{display()};
};

TEST_F(DisplayPowerTest, sleepsAndWakesTheDisplays) {
  server.run({"xset", "s", "off"});
  EXPECT_FALSE(isBlank());
  EXPECT_TRUE(power.sleepDisplays().has_value());
  EXPECT_TRUE(isBlank());
  EXPECT_NE(power.declareUserActivity("Quorl remote wake"), PowerAssertions::none);
  EXPECT_FALSE(isBlank());
  EXPECT_TRUE(power.sleepDisplays().has_value());
  EXPECT_TRUE(isBlank());
}

TEST_F(DisplayPowerTest, keepsTheDisplaysAwakeUntilTheRelease) {
  const auto held = power.create(PowerAssertion::preventIdleDisplaySleep, "name");
  EXPECT_NE(held, PowerAssertions::none);
  EXPECT_FALSE(blanksWhenIdle(std::chrono::seconds(4)));
  power.release(held);
  EXPECT_TRUE(blanksWhenIdle(std::chrono::seconds(30)));
}

TEST_F(DisplayPowerTest, letsTheDisplaysSleepWhenItsOwnerIsGone) {
  {
    X11DisplayPower other(display());
    EXPECT_NE(other.create(PowerAssertion::preventIdleDisplaySleep, "name"), PowerAssertions::none);
  }
  EXPECT_TRUE(blanksWhenIdle(std::chrono::seconds(30)));
}

TEST_F(DisplayPowerTest, leavesTheMachineToOthers) {
  EXPECT_EQ(power.create(PowerAssertion::preventIdleSystemSleep, "name"), PowerAssertions::none);
}

TEST_F(DisplayPowerTest, failsWithoutAServer) {
  const auto held = power.create(PowerAssertion::preventIdleDisplaySleep, "name");
  server.kill();
  const auto result = power.sleepDisplays();
  ASSERT_FALSE(result.has_value());
  EXPECT_EQ(result.error().tool, "X11");
  EXPECT_FALSE(result.error().reason.empty());
  EXPECT_EQ(power.declareUserActivity("name"), PowerAssertions::none);
  power.release(held);
  EXPECT_EQ(power.create(PowerAssertion::preventIdleDisplaySleep, "name"), PowerAssertions::none);
}

}  // namespace
}  // namespace quorl::test
