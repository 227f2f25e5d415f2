// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <QuorlHostLinux/X11/Windows/ChangeWait.h>

namespace quorl::test {
namespace {

using std::chrono::milliseconds;
using Seen = ChangeWait::Seen;

constexpr ChangeWait::Time start{};

TEST(ChangeWait, endsAtOnceWhenTheChangeIsSeen) {
  ChangeWait wait(start, milliseconds(300));
  EXPECT_TRUE(wait.isOver(Seen::wanted, start));
}

TEST(ChangeWait, endsAtTheLimitWhenNothingChanges) {
  ChangeWait wait(start, milliseconds(300));
  EXPECT_FALSE(wait.isOver(Seen::unchanged, start + milliseconds(299)));
  EXPECT_EQ(wait.end(), start + milliseconds(300));
  EXPECT_TRUE(wait.isOver(Seen::unchanged, start + milliseconds(300)));
}

TEST(ChangeWait, endsSoonAfterADifferentChange) {
  ChangeWait wait(start, milliseconds(300));
  EXPECT_FALSE(wait.isOver(Seen::otherwise, start + milliseconds(10)));
  EXPECT_EQ(wait.end(), start + milliseconds(70));
  EXPECT_FALSE(wait.isOver(Seen::otherwise, start + milliseconds(50)));
  EXPECT_FALSE(wait.isOver(Seen::unchanged, start + milliseconds(109)));
  EXPECT_TRUE(wait.isOver(Seen::unchanged, start + milliseconds(110)));
}

TEST(ChangeWait, neverPassesTheLimit) {
  ChangeWait wait(start, milliseconds(300));
  for (int at = 0; at < 300; at += 20) EXPECT_FALSE(wait.isOver(Seen::otherwise, start + milliseconds(at)));
  EXPECT_TRUE(wait.isOver(Seen::otherwise, start + milliseconds(300)));
}

}  // namespace
}  // namespace quorl::test
