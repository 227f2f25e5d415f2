// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Power/SessionScreenLock.h>

#include <cstdlib>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <Linux/System/PrivateBus.h>
#include <QuorlHostPosix/UserFolders.h>

namespace quorl::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class SessionScreenLockTest : public testing::Test {
 protected:
  ~SessionScreenLockTest() override { ::unsetenv("XDG_SESSION_ID"); }

  SessionScreenLock lock{[this](const std::vector<std::string>& arguments) {
    launched.push_back(arguments[0]);
    return arguments[0] == installed;
  }};
  PrivateBus bus;
  std::vector<std::string> launched;
  std::string installed;
};

TEST_F(SessionScreenLockTest, asksTheLoginManagerToLockTheOwnSession) {
  LogindMock logind;
  ASSERT_TRUE(logind.isRunning());
  logind.addSession("c1", "seat0", ::geteuid(), currentUserName());
  ::setenv("XDG_SESSION_ID", "c1", 1);
  EXPECT_TRUE(lock.lock().has_value());
  EXPECT_TRUE(
      logind.program().waitForOutput("emit /org/freedesktop/login1/session/c1", std::chrono::seconds(30)))
      << logind.program().output();
  EXPECT_THAT(launched, IsEmpty());
}

TEST_F(SessionScreenLockTest, asksTheScreenSaverOutsideALoginSession) {
  ServiceMock saver("org.freedesktop.ScreenSaver", "/org/freedesktop/ScreenSaver",
                    "org.freedesktop.ScreenSaver");
  ASSERT_TRUE(saver.isRunning());
  saver.addMethod("Lock", "", "", "");
  EXPECT_TRUE(lock.lock().has_value());
  EXPECT_TRUE(saver.program().waitForOutput(" Lock", std::chrono::seconds(30))) << saver.program().output();
  EXPECT_THAT(launched, IsEmpty());
}

TEST_F(SessionScreenLockTest, startsTheFirstLockerThatIsInstalled) {
  installed = "/usr/bin/xscreensaver-command";
  EXPECT_TRUE(lock.lock().has_value());
  EXPECT_THAT(launched, ElementsAre("/usr/bin/light-locker-command", "/usr/bin/xscreensaver-command"));
}

TEST_F(SessionScreenLockTest, saysThatNothingCanLock) {
  const auto result = lock.lock();
  ASSERT_FALSE(result.has_value());
  EXPECT_EQ(result.error(), (SystemFailure{"screen lock", "there is no login session and no locker"}));
}

}  // namespace
}  // namespace quorl::test
