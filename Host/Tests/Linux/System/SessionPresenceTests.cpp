// SPDX-License-Identifier: GPL-3.0-or-later
#include <atomic>
#include <cstdlib>
#include <optional>

#include <gtest/gtest.h>

#include <Linux/System/ChildProgram.h>
#include <Linux/System/PrivateSessionBus.h>
#include <QuorlHostLinux/System/SessionPresence.h>
#include <Support/Eventually.h>

namespace quorl::test {
namespace {

using Claim = SessionPresence::Claim;

TEST(SessionPresence, isUnavailableWithoutASessionBus) {
  ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
  ::unsetenv("XDG_RUNTIME_DIR");
  SessionPresence presence("1.2.3");
  EXPECT_EQ(presence.claim(), Claim::unavailable);
  presence.notify("title", "text");  // dropped
}

TEST(SessionPresence, isUnavailableOnABusThatDoesNotAnswer) {
  ::setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
  SessionPresence presence("1.2.3");
  EXPECT_EQ(presence.claim(), Claim::unavailable);
  ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
}

class SessionPresenceTest : public testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(bus_.isRunning()); }
  PrivateSessionBus bus_;
};

TEST_F(SessionPresenceTest, letsASecondStartShowThePanelOfTheFirst) {
  SessionPresence first("1.2.3");
  ASSERT_EQ(first.claim(), Claim::first);
  std::atomic<int> shown = 0;
  first.onShow([&] {
    ++shown;
    return true;
  });
  SessionPresence second("1.2.3");
  EXPECT_EQ(second.claim(), Claim::shownByOther);
  EXPECT_EQ(shown, 1);
}

TEST_F(SessionPresenceTest, keepsARequestUntilTheFirstIsReady) {
  SessionPresence first("1.2.3");
  ASSERT_EQ(first.claim(), Claim::first);
  EXPECT_EQ(SessionPresence("1.2.3").claim(), Claim::shownByOther);
  int shown = 0;
  first.onShow([&] {
    ++shown;
    return true;
  });
  EXPECT_EQ(shown, 1);
}

TEST_F(SessionPresenceTest, saysThatTheFirstHasNoDesktop) {
  SessionPresence first("1.2.3");
  ASSERT_EQ(first.claim(), Claim::first);
  first.onShow([] { return false; });
  EXPECT_EQ(SessionPresence("1.2.3").claim(), Claim::heldByOther);
}

TEST_F(SessionPresenceTest, givesUpTheNameAtItsEnd) {
  std::optional<SessionPresence> first(std::in_place, "1.2.3");
  ASSERT_EQ(first->claim(), Claim::first);
  first.reset();
  EXPECT_EQ(SessionPresence("1.2.3").claim(), Claim::first);
}

TEST_F(SessionPresenceTest, hasItsVersionOnTheBus) {
  SessionPresence presence("1.2.3");
  ASSERT_EQ(presence.claim(), Claim::first);
  EXPECT_EQ(outputOf({"busctl", "--address=" + bus_.address(), "get-property", "dev.vek.quorl.host",
                      "/dev/vek/quorl/host", "dev.vek.quorl.host", "Version"}),
            "s \"1.2.3\"\n");
}

TEST_F(SessionPresenceTest, showsANotification) {
  ChildProgram server({"/usr/bin/python3", "-u", "-m", "dbusmock", "-t", "notification_daemon"},
                      {"DBUS_SESSION_BUS_ADDRESS=" + bus_.address()});
  ASSERT_TRUE(
      eventually([&] { return bus_.isOwned("org.freedesktop.Notifications"); }, std::chrono::seconds(30)));
  SessionPresence presence("1.2.3");
  presence.notify("Quorl Host is running", "Here is how.");
  EXPECT_TRUE(server.waitForOutput("Quorl Host is running", std::chrono::seconds(30))) << server.output();
  EXPECT_NE(server.output().find("Here is how."), std::string::npos);
}

}  // namespace
}  // namespace quorl::test
