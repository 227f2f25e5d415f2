// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Picture/PictureTimes.h>

#include <gtest/gtest.h>

namespace quorl::viewer {
namespace {

using client::Clock;
using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::seconds;

class PictureTimesTest : public testing::Test {
 protected:
  struct Delays {
    milliseconds network{0};
    milliseconds waiting{0};
    milliseconds decode{0};
    milliseconds display{0};
  };

  // The host's clock began at another time.
  Clock::time_point picture(milliseconds captured, const Delays& delays, std::size_t bytes = 1'000) {
    const auto arrival = Clock::time_point(seconds(1'000)) + captured + delays.network;
    PictureTiming timing{.ptsMicros = static_cast<std::uint64_t>(microseconds(captured).count()) + 77'000'000,
                         .bytes = bytes,
                         .isKeyframe = false,
                         .arrival = arrival,
                         .decodeBegin = arrival + delays.waiting,
                         .decodeEnd = arrival + delays.waiting + delays.decode};
    times_.decoded(timing);
    const auto shown = timing.decodeEnd + delays.display;
    times_.shown(timing, shown);
    return shown;
  }

  PictureTimes times_;
};

TEST_F(PictureTimesTest, reportTheInjectedDelays) {
  Clock::time_point now;
  for (int number = 0; number < 100; ++number) {
    const milliseconds network(20 + (number % 4 == 0 ? 0 : 12));
    now = picture(milliseconds(20 * number), {network, milliseconds(3), milliseconds(6), milliseconds(4)});
    times_.roundTrip(milliseconds(40), now);
  }
  const auto report = times_.report(now);
  EXPECT_NEAR(report.network->mean, 20 + 9, 2);
  EXPECT_NEAR(report.network->median, 32, 2);
  EXPECT_NEAR(report.waiting->mean, 3, 0.01);
  EXPECT_NEAR(report.decode->mean, 6, 0.01);
  EXPECT_NEAR(report.display->percentile95, 4, 0.01);
  EXPECT_NEAR(report.age->most, 32 + 3 + 6 + 4, 2);
  EXPECT_NEAR(report.roundTrip->mean, 40, 0.01);
  const std::chrono::duration<double, std::milli> age = *times_.age();
  EXPECT_NEAR(age.count(), 12 + 13, 2);
}

TEST_F(PictureTimesTest, countRates) {
  Clock::time_point now;
  for (int number = 0; number <= 600; ++number) now = picture(milliseconds(20 * number), {}, 12'500);
  const auto report = times_.report(now);
  EXPECT_NEAR(report.decodedPerSecond, 50, 0.5);
  EXPECT_NEAR(report.shownPerSecond, 50, 0.5);
  EXPECT_NEAR(report.megabitsPerSecond, 5, 0.05);
}

TEST_F(PictureTimesTest, forgetWhatIsOlderThanTheWindow) {
  picture(milliseconds(0), {.decode = milliseconds(100)});
  const auto now = picture(milliseconds(6'000), {.decode = milliseconds(2)});
  EXPECT_NEAR(times_.report(now).decode->most, 2, 0.01);
  EXPECT_FALSE(times_.report(now + seconds(6)).decode);
  EXPECT_EQ(times_.report(now + seconds(6)).decodedPerSecond, 0);
}

TEST_F(PictureTimesTest, haveThe95thPercentileOfUnevenTimes) {
  Clock::time_point now;
  for (int number = 1; number <= 100; ++number)
    now = picture(milliseconds(20 * number), {.decode = milliseconds(number)});
  const auto decode = times_.report(now).decode;
  EXPECT_NEAR(decode->percentile95, 95, 1);
  EXPECT_NEAR(decode->median, 50, 1);
  EXPECT_NEAR(decode->mean, 50.5, 0.1);
}

TEST_F(PictureTimesTest, haveNoNetworkTimeWithoutARoundTrip) {
  const auto now = picture(milliseconds(0), {});
  EXPECT_FALSE(times_.report(now).network);
  EXPECT_FALSE(PictureTimes().report(now).decode);
}

TEST_F(PictureTimesTest, followAClockThatDrifts) {
  // 100 ppm for 20 minutes: 120 ms.
  Clock::time_point now;
  for (int second = 0; second < 1'200; ++second) {
    PictureTiming timing{.ptsMicros = static_cast<std::uint64_t>(second) * 1'000'000,
                         .arrival = Clock::time_point(seconds(second) + microseconds(100 * second))};
    timing.decodeBegin = timing.decodeEnd = now = timing.arrival;
    times_.decoded(timing);
    times_.shown(timing, now);
    times_.roundTrip(milliseconds(2), now);
  }
  EXPECT_NEAR(times_.report(now).network->most, 1, 2);
}

TEST_F(PictureTimesTest, survivesAbsurdTimeStamps) {
  for (const std::uint64_t pts : {std::uint64_t{0}, ~std::uint64_t{0}, std::uint64_t{1} << 63U}) {
    const PictureTiming timing{.ptsMicros = pts};
    times_.decoded(timing);
    times_.shown(timing, Clock::time_point());
  }
  EXPECT_EQ(times_.report(Clock::time_point()).decode->mean, 0);
}

TEST_F(PictureTimesTest, reportDropsByCause) {
  times_.setDrops(DropCause::backlog, 7);
  const auto report = times_.report(Clock::time_point());
  EXPECT_EQ(report.drops[static_cast<std::size_t>(DropCause::backlog)], 7U);
  EXPECT_EQ(report.drops[static_cast<std::size_t>(DropCause::network)], 0U);
}

}  // namespace
}  // namespace quorl::viewer
