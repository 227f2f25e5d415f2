// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Session/LinkWatch.h>

#include <gtest/gtest.h>

namespace quorl::client {
namespace {

using std::chrono::seconds;

const Clock::time_point start{seconds(1000)};

TEST(LinkWatch, pingsASilentHostAndThenGivesUp) {
  LinkWatch link(start);
  EXPECT_EQ(link.act(start + seconds(4)), LinkWatch::Action::none);
  EXPECT_EQ(link.due(), start + LinkWatch::askAfter);
  EXPECT_EQ(link.act(start + seconds(5)), LinkWatch::Action::ask);
  EXPECT_EQ(link.act(start + seconds(6)), LinkWatch::Action::none);
  EXPECT_EQ(link.act(start + seconds(10)), LinkWatch::Action::ask);
  EXPECT_EQ(link.act(start + seconds(15)), LinkWatch::Action::giveUp);
}

TEST(LinkWatch, doesNotPingAHostThatSends) {
  LinkWatch link(start);
  for (int second = 1; second < 100; ++second) {
    link.heard(start + seconds(second));
    EXPECT_EQ(link.act(start + seconds(second + 4)), LinkWatch::Action::none);
  }
}

}  // namespace
}  // namespace quorl::client
