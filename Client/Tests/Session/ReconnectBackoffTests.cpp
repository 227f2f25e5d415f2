// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Session/ReconnectBackoff.h>

#include <gtest/gtest.h>

namespace quorl::client {
namespace {

using std::chrono::seconds;

const Clock::time_point start{seconds(1000)};

TEST(ReconnectBackoff, doublesTheDelayUpToALimit) {
  ReconnectBackoff backoff;
  Clock::duration before{};
  for (int attempt = 0; attempt < 20; ++attempt) {
    const auto delay = backoff.next();
    EXPECT_GE(delay, before);
    EXPECT_LE(delay, ReconnectBackoff::last);
    before = delay;
  }
  EXPECT_EQ(before, ReconnectBackoff::last);
}

TEST(ReconnectBackoff, resetsOnlyAfterAStableConnection) {
  ReconnectBackoff backoff;
  for (int attempt = 0; attempt < 20; ++attempt) backoff.next();
  backoff.connected(start);
  backoff.lost(start + seconds(1));
  EXPECT_EQ(backoff.next(), ReconnectBackoff::last);
  backoff.connected(start);
  backoff.lost(start + ReconnectBackoff::stable);
  EXPECT_EQ(backoff.next(), ReconnectBackoff::first);
}

}  // namespace
}  // namespace quorl::client
