// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <QuorlHostLinux/System/ConsoleUser.h>

namespace quorl::test {
namespace {

using Active = ConsoleFacts::ActiveSession;

TEST(ConsoleUser, isTheUserOfTheActiveSessionOfTheHostsSeat) {
  EXPECT_EQ(consoleUserFor({"ann", true, Active{"ann", "user"}}), "ann");
  EXPECT_EQ(consoleUserFor({"ann", true, Active{"bob", "user"}}), "bob");
}

TEST(ConsoleUser, isTheHostsUserForASessionWithoutASeat) {
  EXPECT_EQ(consoleUserFor({"ann", false, std::nullopt}), "ann");
  EXPECT_EQ(consoleUserFor({"ann", false, Active{"bob", "user"}}), "ann");
}

TEST(ConsoleUser, isAbsentAtAGreeterAndOnASeatWithoutASession) {
  EXPECT_EQ(consoleUserFor({"ann", true, Active{"gdm", "greeter"}}), std::nullopt);
  EXPECT_EQ(consoleUserFor({"ann", true, std::nullopt}), std::nullopt);
  EXPECT_EQ(consoleUserFor({"ann", true, Active{"", "user"}}), std::nullopt);
}

TEST(ConsoleUser, keepsTheConsoleDuringAScreenLock) {
  EXPECT_EQ(consoleUserFor({"ann", true, Active{"ann", "lock-screen"}}), "ann");
}

}  // namespace
}  // namespace quorl::test
