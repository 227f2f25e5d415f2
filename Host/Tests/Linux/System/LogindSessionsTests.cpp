// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <set>
#include <string>

#include <gtest/gtest.h>
#include <unistd.h>
#include <utmpx.h>

#include <Linux/System/PrivateBus.h>
#include <QuorlHostLinux/System/LoginRecords.h>
#include <QuorlHostLinux/System/LogindSessions.h>
#include <QuorlHostLinux/System/SessionChoice.h>
#include <QuorlHostPosix/UserFolders.h>
#include <Support/Eventually.h>
#include <Support/TemporaryFolder.h>

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

TEST_F(LogindSessionsTest, namesTheUsersWithASessionOfTheirOwn) {
  LogindMock mock;
  seatTwo(mock);
  mock.addSession("c3", "seat0", 116, "greeter");
  mock.setSessionClass("c3", "greeter");
  mock.addSession("c4", "seat1", 2000, "lingering");
  mock.setSessionClass("c4", "manager");
  EXPECT_EQ(LogindSessions().loggedInUsers(), (std::set<std::string>{me, "somebody"}));
}

TEST_F(LogindSessionsTest, switchesToASessionOfTheUser) {
  LogindMock mock;
  seatTwo(mock);
  EXPECT_EQ(LogindSessions().switchTo(54321), SwitchOutcome(switchOutcome::Switched{}));
  EXPECT_TRUE(mock.program().waitForOutput("ActivateSession \"c2\"")) << mock.program().output();
  EXPECT_EQ(LogindSessions().switchTo(::geteuid()), SwitchOutcome(switchOutcome::Switched{}));
  EXPECT_TRUE(mock.program().waitForOutput("ActivateSession \"c1\"")) << "the own user is like any other";
}

TEST_F(LogindSessionsTest, cannotSwitchToAUserWithoutASession) {
  LogindMock mock;
  seatTwo(mock);
  EXPECT_EQ(LogindSessions().switchTo(4242), SwitchOutcome(switchOutcome::Unavailable{}));
  mock.setSessionClass("c2", "manager");
  EXPECT_EQ(LogindSessions().switchTo(54321), SwitchOutcome(switchOutcome::Unavailable{}));
  EXPECT_EQ(mock.program().output().find("ActivateSession"), std::string::npos);
}

TEST_F(LogindSessionsTest, showsTheLoginWindowForAUserWithoutASession) {
  LogindMock mock;
  seatTwo(mock);
  ServiceMock manager("org.freedesktop.DisplayManager", "/org/freedesktop/DisplayManager/Seat0",
                      "org.freedesktop.DisplayManager.Seat");
  ASSERT_TRUE(manager.isRunning());
  manager.addMethod("SwitchToGreeter", "", "", "");
  EXPECT_EQ(LogindSessions().switchTo(4242), SwitchOutcome(switchOutcome::Switched{}));
  EXPECT_TRUE(manager.program().waitForOutput("SwitchToGreeter"));
}

TEST_F(LogindSessionsTest, reportsWhyASwitchFailed) {
  LogindMock mock;
  seatTwo(mock);
  ServiceMock manager("org.freedesktop.DisplayManager", "/org/freedesktop/DisplayManager/Seat0",
                      "org.freedesktop.DisplayManager.Seat");
  ASSERT_TRUE(manager.isRunning());
  manager.addMethod("SwitchToGreeter", "", "",
                    "raise dbus.exceptions.DBusException('not on this seat', name='org.example.No')");
  EXPECT_EQ(LogindSessions().switchTo(4242),
            SwitchOutcome(switchOutcome::Failed{"SwitchToGreeter: not on this seat"}));
}

TEST_F(LogindSessionsTest, knowsWhetherTheOwnSessionIsLocked) {
  LogindMock mock;
  seatTwo(mock);
  LogindSessions sessions;
  mock.setLocked("c2", true);
  EXPECT_FALSE(sessions.isScreenLocked());
  mock.setLocked("c1", true);
  EXPECT_TRUE(sessions.isScreenLocked());
  mock.setLocked("c1", false);
  EXPECT_FALSE(sessions.isScreenLocked());
}

TEST(LogindSessions, reachOnlyTheScreenOfTheOwnUser) {
  LogindSessions sessions;
  EXPECT_TRUE(sessions.inputReaches(::getuid()));
  EXPECT_FALSE(sessions.inputReaches(::getuid() + 1));
  EXPECT_FALSE(sessions.secureInputActive());
}

TEST(LogindSessions, canNeitherSwitchNorReadALockWithoutABus) {
  ::setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
  LogindSessions sessions;
  EXPECT_EQ(sessions.switchTo(::getuid()), SwitchOutcome(switchOutcome::Unavailable{}));
  EXPECT_FALSE(sessions.isScreenLocked());
  ::unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
}

TEST(LoginRecords, nameTheUsersOfTheRecordsOfAType) {
  const TemporaryFolder folder;
  const auto file = folder.file("utmp");
  std::ofstream(file).close();
  ASSERT_EQ(::utmpxname(file.c_str()), 0);
  const auto add = [](short type, const std::string& user, const char* line) {
    utmpx record{};
    record.ut_type = type;
    std::memcpy(record.ut_user, user.data(), std::min(user.size(), sizeof record.ut_user));
    std::strncpy(record.ut_line, line, sizeof record.ut_line - 1);
    std::strncpy(record.ut_id, line, sizeof record.ut_id);
    ::setutxent();
    EXPECT_NE(::pututxline(&record), nullptr);
  };
  add(USER_PROCESS, "anna", "tty1");
  add(USER_PROCESS, "anna", "tty2");
  add(DEAD_PROCESS, "gone", "tty3");
  add(USER_PROCESS, "", "tty4");
  add(USER_PROCESS, std::string(40, 'x'), "tty5");
  ::endutxent();
  EXPECT_EQ(usersInLoginRecords(), (std::set<std::string>{"anna", std::string(32, 'x')}));
  ::setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
  EXPECT_EQ(LogindSessions().loggedInUsers().count("anna"), 1U);
  ::unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
  ::utmpxname("/var/run/utmp");
}

TEST(SessionToActivate, isAGraphicalOneOfTheUserOnASeat) {
  const SwitchCandidate text{"1", "seat0", "user", "tty", "online"};
  const SwitchCandidate graphical{"2", "seat0", "user", "x11", "online"};
  const SwitchCandidate remote{"3", "", "user", "tty", "online"};
  const SwitchCandidate greeter{"4", "seat0", "greeter", "x11", "online"};
  const SwitchCandidate ending{"5", "seat0", "user", "wayland", "closing"};
  EXPECT_EQ(sessionToActivate({remote, greeter, ending, text, graphical}), "2");
  EXPECT_EQ(sessionToActivate({remote, text}), "1");
  EXPECT_EQ(sessionToActivate({remote, greeter, ending}), std::nullopt);
  EXPECT_EQ(sessionToActivate({}), std::nullopt);
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
