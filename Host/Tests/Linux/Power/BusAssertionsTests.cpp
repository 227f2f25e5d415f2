// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Power/BusAssertions.h>

#include <atomic>
#include <cstdlib>
#include <optional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <Linux/System/PrivateBus.h>
#include <Support/Eventually.h>

namespace quorl::test {
namespace {

using std::chrono::seconds;
using ::testing::ElementsAre;

const char* const name = "Quorl session active";

class BusAssertionsTest : public testing::Test {
 protected:
  BusAssertionsTest() { EXPECT_TRUE(bus.isRunning()); }

  static bool holdsNone(const LogindMock& logind) {
    return eventually([&] { return logind.inhibitors().empty(); }, seconds(30));
  }
  static ServiceMock screenSaver() {
    ServiceMock mock("org.freedesktop.ScreenSaver", "/org/freedesktop/ScreenSaver",
                     "org.freedesktop.ScreenSaver");
    mock.addMethod("Inhibit", "ss", "u", "ret = 77");
    mock.addMethod("UnInhibit", "u", "", "");
    mock.addMethod("SimulateUserActivity", "", "", "");
    return mock;
  }

  PrivateBus bus;
  BusAssertions assertions;
};

TEST_F(BusAssertionsTest, keepTheMachineAwakeUntilTheyAreReleased) {
  LogindMock logind;
  ASSERT_TRUE(logind.isRunning());
  const auto held = assertions.create(PowerAssertion::preventIdleSystemSleep, name);
  EXPECT_NE(held, PowerAssertions::none);
  EXPECT_THAT(logind.inhibitors(),
              ElementsAre(LogindMock::Inhibitor{"idle:sleep", "Quorl", "Quorl session active", "block"}));
  assertions.release(held);
  EXPECT_TRUE(holdsNone(logind));
  assertions.release(held);
}

TEST_F(BusAssertionsTest, areReleasedByTheEndOfTheirOwner) {
  LogindMock logind;
  ASSERT_TRUE(logind.isRunning());
  {
    BusAssertions others;
    EXPECT_NE(others.create(PowerAssertion::preventIdleSystemSleep, name), PowerAssertions::none);
  }
  EXPECT_TRUE(holdsNone(logind));
}

TEST_F(BusAssertionsTest, areTakenAgainAfterARestartOfTheLoginManager) {
  std::optional<LogindMock> logind(std::in_place);
  ASSERT_TRUE(logind->isRunning());
  const auto held = assertions.create(PowerAssertion::preventIdleSystemSleep, name);
  ASSERT_NE(held, PowerAssertions::none);
  logind.reset();
  logind.emplace();
  EXPECT_TRUE(eventually([&] { return logind->inhibitors().size() == 1; }, seconds(30)));
  assertions.release(held);
  EXPECT_TRUE(holdsNone(*logind));
}

TEST_F(BusAssertionsTest, fallBackToIdleWhereSleepMayNotBeInhibited) {
  ServiceMock logind("org.freedesktop.login1", "/org/freedesktop/login1", "org.freedesktop.login1.Manager");
  ASSERT_TRUE(logind.isRunning());
  logind.addMethod("Inhibit", "ssss", "h",
                   "import os\n"
                   "if args[0] != 'idle': raise dbus.exceptions.DBusException('no', name='org.example.No')\n"
                   "ret = dbus.types.UnixFd(os.open('/dev/null', os.O_RDONLY))");
  EXPECT_NE(assertions.create(PowerAssertion::preventIdleSystemSleep, name), PowerAssertions::none)
      << logind.program().output();
  EXPECT_TRUE(logind.program().waitForOutput("Inhibit \"idle\"", seconds(30)));
}

// As when the bus starts the service for the call.
TEST_F(BusAssertionsTest, areTakenOnceFromAServiceThatTheCallStarts) {
  std::atomic<int> takes = 0;
  std::optional<ServiceMock> service;
  BusInhibitor inhibitor({.open = openSystemBus,
                          .name = "org.example.Service",
                          .take =
                              [&](sd_bus*) {
                                if (++takes == 1)
                                  service.emplace("org.example.Service", "/o", "org.example.I");
                                return true;
                              },
                          .drop = [](sd_bus*) {}});
  EXPECT_TRUE(inhibitor.wasTaken());
  service.reset();
  service.emplace("org.example.Service", "/o", "org.example.I");
  EXPECT_TRUE(eventually([&] { return takes >= 2; }, seconds(30)));
  service.reset();
  service.emplace("org.example.Service", "/o", "org.example.I");
  EXPECT_TRUE(eventually([&] { return takes >= 3; }, seconds(30)));
  EXPECT_EQ(takes, 3);
}

TEST_F(BusAssertionsTest, keepTheDisplaysAwakeThroughTheScreenSaver) {
  auto saver = screenSaver();
  ASSERT_TRUE(saver.isRunning());
  const auto held = assertions.create(PowerAssertion::preventIdleDisplaySleep, name);
  EXPECT_NE(held, PowerAssertions::none);
  EXPECT_TRUE(saver.program().waitForOutput("Inhibit \"Quorl\" \"Quorl session active\"", seconds(30)))
      << saver.program().output();
  assertions.release(held);
  EXPECT_TRUE(saver.program().waitForOutput("UnInhibit 77", seconds(30))) << saver.program().output();
}

TEST_F(BusAssertionsTest, resetTheScreenSaverForAnActivity) {
  auto saver = screenSaver();
  ASSERT_TRUE(saver.isRunning());
  const auto activity = assertions.declareUserActivity("Quorl remote wake");
  EXPECT_NE(activity, PowerAssertions::none);
  EXPECT_TRUE(saver.program().waitForOutput("SimulateUserActivity", seconds(30)));
  assertions.release(activity);
}

TEST_F(BusAssertionsTest, areNoneWithoutTheServices) {
  EXPECT_EQ(assertions.create(PowerAssertion::preventIdleSystemSleep, name), PowerAssertions::none);
  EXPECT_EQ(assertions.create(PowerAssertion::preventIdleDisplaySleep, name), PowerAssertions::none);
  EXPECT_EQ(assertions.declareUserActivity(name), PowerAssertions::none);
}

TEST(BusAssertions, areNoneWithoutABus) {
  ::setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
  ::setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
  BusAssertions assertions;
  EXPECT_EQ(assertions.create(PowerAssertion::preventIdleSystemSleep, name), PowerAssertions::none);
  EXPECT_EQ(assertions.create(PowerAssertion::preventIdleDisplaySleep, name), PowerAssertions::none);
  EXPECT_EQ(assertions.declareUserActivity(name), PowerAssertions::none);
  ::unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
  ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
}

}  // namespace
}  // namespace quorl::test
