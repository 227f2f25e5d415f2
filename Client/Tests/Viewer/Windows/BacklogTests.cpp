// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <quorl-viewer/Windows/Backlog.h>

namespace quorl::viewer {
namespace {

TEST(Backlog, holdsItsEntriesAndBytesAndNoMore) {
  Backlog backlog(3, 100);
  EXPECT_TRUE(backlog.admit(60));
  EXPECT_FALSE(backlog.admit(41)) << "more bytes";
  EXPECT_TRUE(backlog.admit(40));
  EXPECT_TRUE(backlog.admit(0));
  EXPECT_FALSE(backlog.admit(0)) << "a fourth entry";
  backlog.done(60);
  EXPECT_TRUE(backlog.admit(60));
}

TEST(Backlog, holdsOneEntryOfAnySize) {
  Backlog backlog(3, 100);
  EXPECT_TRUE(backlog.admit(1'000));
  EXPECT_FALSE(backlog.admit(1));
  backlog.done(1'000);
  EXPECT_TRUE(backlog.admit(1));
}

}  // namespace
}  // namespace quorl::viewer
