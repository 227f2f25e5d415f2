// SPDX-License-Identifier: GPL-3.0-or-later
#include <atomic>
#include <cstdlib>

#include <gtest/gtest.h>
#include <unistd.h>

#include <Linux/System/PrivateBus.h>
#include <QuorlHostLinux/System/LogindSessions.h>
#include <QuorlHostPosix/UserFolders.h>
#include <Support/Eventually.h>

namespace quorl::test {
namespace {

class LogindSessionsTest : public ::testing::Test {
 protected:
  LogindSessionsTest() {
    ::setenv("XDG_SESSION_ID", "c1", 1);
    EXPECT_TRUE(bus.isRunning());
  }
  ~LogindSessionsTest() override { ::unsetenv("XDG_SESSION_ID"); }

  // The own user's session c1 and another's, c2, on one seat; c1 is active.
  void seatTwo(LogindMock& mock) {
    ASSERT_TRUE(mock.isRunning());
    mock.addSession("c1", "seat0", ::geteuid(), me);
    mock.addSession("c2", "seat0", 54321, "somebody");
    mock.activate("seat0", "c1");
  }

  const std::string me = currentUserName();
  PrivateBus bus;
};

TEST_F(LogindSessionsTest, followsTheActiveSessionOfTheHostsSeat) {
  LogindMock mock;
  seatTwo(mock);
  LogindSessions sessions;
  EXPECT_EQ(sessions.consoleUser(), me);
  mock.activate("seat0", "c2");
  EXPECT_EQ(sessions.consoleUser(), "somebody");
  mock.setSessionClass("c2", "greeter");
  EXPECT_EQ(sessions.consoleUser(), std::nullopt);
  mock.activate("seat0", "");
  EXPECT_EQ(sessions.consoleUser(), std::nullopt);
  mock.activate("seat0", "c1");
  EXPECT_EQ(sessions.consoleUser(), me);
}

TEST_F(LogindSessionsTest, leavesTheConsoleToASessionWithoutASeat) {
  LogindMock mock;
  seatTwo(mock);
  mock.activate("seat0", "c2");
  mock.setSeatOfSession("c1", "");
  LogindSessions sessions;
  EXPECT_EQ(sessions.consoleUser(), me);
}

TEST_F(LogindSessionsTest, hasNoSeatOutsideASession) {
  LogindMock mock;
  seatTwo(mock);
  ::setenv("XDG_SESSION_ID", "unknown", 1);
  mock.activate("seat0", "c2");
  EXPECT_EQ(LogindSessions().consoleUser(), me);
}

TEST_F(LogindSessionsTest, reportsOnlyChangesOfTheConsoleUser) {
  LogindMock mock;
  seatTwo(mock);
  std::atomic<int> changes = 0;
  LogindSessions sessions;
  sessions.observeConsoleUser([&] { ++changes; });
  ASSERT_TRUE(eventually([&] { return changes == 1; })) << "the first report";
  mock.activate("seat0", "c2");
  ASSERT_TRUE(eventually([&] { return changes == 2; }));
  EXPECT_EQ(sessions.consoleUser(), "somebody");
  mock.activate("seat0", "c2");
  mock.activate("seat0", "c1");
  ASSERT_TRUE(eventually([&] { return changes == 3; }));
  EXPECT_EQ(sessions.consoleUser(), me);
}

TEST_F(LogindSessionsTest, givesTheConsoleToTheHostsUserWhenTheLoginManagerGoes) {
  auto mock = std::make_unique<LogindMock>();
  seatTwo(*mock);
  mock->activate("seat0", "c2");
  std::atomic<int> changes = 0;
  LogindSessions sessions;
  sessions.observeConsoleUser([&] { ++changes; });
  ASSERT_TRUE(eventually([&] { return changes == 1; }));
  mock.reset();
  ASSERT_TRUE(eventually([&] { return changes == 2; }));
  EXPECT_EQ(sessions.consoleUser(), me);
}

TEST(LogindSessions, giveTheConsoleToTheHostsUserWithoutABus) {
  ::setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
  std::atomic<int> changes = 0;
  {
    LogindSessions sessions;
    EXPECT_EQ(sessions.consoleUser(), currentUserName());
    sessions.observeConsoleUser([&] { ++changes; });
  }
  ::unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
  EXPECT_LE(changes, 1);
}

}  // namespace
}  // namespace quorl::test
