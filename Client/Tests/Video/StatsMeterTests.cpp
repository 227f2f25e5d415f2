// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Video/StatsMeter.h>

#include <gtest/gtest.h>

namespace quorl::client {
namespace {

using std::chrono::milliseconds;

TEST(StatsMeter, countsRatesOfAnIntervalAndOfTheWhole) {
  const Clock::time_point begin{};
  StatsMeter meter(begin);
  for (int index = 0; index < 10; ++index)
    meter.picture(
        {begin + milliseconds(100 * index), static_cast<std::uint64_t>(index) * 100'000, 12'500, index == 0},
        milliseconds(2));
  const auto first = meter.interval(begin + milliseconds(1000), 3);
  EXPECT_EQ(first.frames, 10);
  EXPECT_EQ(first.keyframes, 1);
  EXPECT_DOUBLE_EQ(first.framesPerSecond, 10);
  EXPECT_DOUBLE_EQ(first.megabitsPerSecond, 1);
  EXPECT_DOUBLE_EQ(*first.decodeMilliseconds, 2);
  EXPECT_DOUBLE_EQ(*first.jitterMilliseconds, 0);
  EXPECT_EQ(first.lostFrames, 3U);
  const auto second = meter.interval(begin + milliseconds(2000), 3);
  EXPECT_EQ(second.frames, 0);
  EXPECT_FALSE(second.decodeMilliseconds);
  const auto total = meter.total(begin + milliseconds(2000), 3);
  EXPECT_TRUE(total.isTotal);
  EXPECT_DOUBLE_EQ(total.framesPerSecond, 5);
}

TEST(StatsMeter, measuresJitterAgainstTheTimeStamps) {
  const Clock::time_point begin{};
  StatsMeter meter(begin);
  meter.picture({begin, 5'000, 1, true}, std::nullopt);
  meter.picture({begin + milliseconds(14), 15'000, 1, false}, std::nullopt);
  meter.picture({begin + milliseconds(20), 25'000, 1, false}, std::nullopt);
  EXPECT_DOUBLE_EQ(*meter.total(begin + milliseconds(20), 0).jitterMilliseconds, 4);
}

TEST(StatsMeter, survivesATimeStampThatGoesBack) {
  const Clock::time_point begin{};
  StatsMeter meter(begin);
  meter.picture({begin, 20'000, 1, true}, std::nullopt);
  meter.picture({begin + milliseconds(10), 10'000, 1, false}, std::nullopt);
  EXPECT_DOUBLE_EQ(*meter.total(begin + milliseconds(10), 0).jitterMilliseconds, 20);
}

TEST(StatsMeter, averagesRoundTrips) {
  StatsMeter meter(Clock::time_point{});
  meter.roundTrip(milliseconds(1));
  meter.roundTrip(milliseconds(3));
  EXPECT_DOUBLE_EQ(*meter.interval(Clock::time_point{} + milliseconds(10), 0).roundTripMilliseconds, 2);
}

}  // namespace
}  // namespace quorl::client
