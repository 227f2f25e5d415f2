// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Link/LinkEstimator.h>

#include <algorithm>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "SimulatedLink.h"

namespace quorl::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr double megabit = 125'000;  // bytes per second

MonotonicTime at(Duration time) {
  return MonotonicTime(time);
}

/// A stream of full-screen motion at 30 pictures per second that use their budget within a third, and a probe
/// every 20 ms that measures how long a byte sent then would wait.
class MotionOverALink {
 public:
  MotionOverALink(SimulatedLink::Rate rate, Duration roundTrip, double wantedRate = 25 * megabit)
      : link_(std::move(rate), roundTrip), wantedRate_(wantedRate) {}

  void run(Duration span) {
    const MonotonicTime end = now_ + span;
    for (; now_ < end; now_ += step) turn();
  }
  void clear() {
    delays_.clear();
    pictures_ = 0;
    deliveredBefore_ = link_.delivered();
    since_ = now_;
  }

  double use(double rate) const {
    return (link_.delivered() - deliveredBefore_) /
           (rate * std::chrono::duration<double>(now_ - since_).count());
  }
  double picturesPerSecond() const {
    return pictures_ / std::chrono::duration<double>(now_ - since_).count();
  }
  /// In seconds, beyond the round trip.
  double delay(double quantile) const {
    auto sorted = delays_;
    std::ranges::sort(sorted);
    return sorted.at(static_cast<std::size_t>(quantile * static_cast<double>(sorted.size() - 1)));
  }
  LinkEstimator estimator;
  MonotonicTime now() const { return now_; }
  std::size_t observations() const { return observations_; }
  std::size_t pictures() const { return pictures_; }

 private:
  static constexpr Duration step = milliseconds(1);
  static constexpr Duration interval = std::chrono::microseconds(33'333);

  void observe() {
    ++observations_;
    estimator.observed(now_, link_.acknowledged(), link_.roundTrip());
    const auto wait = estimator.nextObservation();
    observeAt_ = wait ? std::optional(now_ + *wait) : std::nullopt;
  }

  void turn() {
    link_.advanceTo(now_);
    if (observeAt_ && now_ >= *observeAt_) observe();
    if (now_ >= nextPicture_) {
      if (!asked_) observe();
      if (!asked_) estimator.pictureWanted(now_, wantedRate_);
      asked_ = true;
      if (estimator.isOpen()) sendPicture();
    }
    if ((now_ - MonotonicTime{}) % milliseconds(20) == Duration::zero())
      delays_.push_back(link_.waiting() / std::max(1.0, currentRate()));
  }

  void sendPicture() {
    asked_ = false;
    const double share = std::min(estimator.pictureRate(), wantedRate_) / 30;
    const double noise = std::uniform_real_distribution(0.67, 1.33)(random_);
    const auto size = static_cast<std::size_t>(std::max(share * noise, 2'000.0));
    estimator.accepted(now_, size);
    link_.send(size);
    ++pictures_;
    nextPicture_ = std::max(nextPicture_ + interval, now_);
    observe();
  }
  double currentRate() const { return rateNow ? rateNow() : megabit; }

 public:
  std::function<double()> rateNow;

 private:
  SimulatedLink link_;
  const double wantedRate_;
  std::mt19937 random_{7};
  MonotonicTime now_{};
  MonotonicTime since_{};
  MonotonicTime nextPicture_{};
  std::optional<MonotonicTime> observeAt_;
  bool asked_ = false;
  std::size_t pictures_ = 0;
  std::size_t observations_ = 0;
  double deliveredBefore_ = 0;
  std::vector<double> delays_;
};

struct SteadyCase {
  double megabits;
  Duration roundTrip;
};

class SteadyLink : public testing::TestWithParam<SteadyCase> {};

TEST_P(SteadyLink, isUsedWithoutALongQueue) {
  const double rate = GetParam().megabits * megabit;
  MotionOverALink motion([rate](MonotonicTime) { return rate; }, GetParam().roundTrip);
  motion.rateNow = [rate] { return rate; };
  motion.run(seconds(3));
  motion.clear();
  motion.run(seconds(30));
  EXPECT_GE(motion.use(rate), 0.9) << motion.picturesPerSecond();
  EXPECT_LE(motion.delay(0.95), 0.1);
  EXPECT_GE(motion.picturesPerSecond(), 20);
  EXPECT_NEAR(motion.estimator.deliveredRate() / rate, 1, 0.15);
}

INSTANTIATE_TEST_SUITE_P(Links, SteadyLink,
                         testing::Values(SteadyCase{2, Duration{}}, SteadyCase{2, milliseconds(40)},
                                         SteadyCase{5, Duration{}}, SteadyCase{5, milliseconds(40)},
                                         SteadyCase{20, Duration{}}, SteadyCase{20, milliseconds(40)},
                                         SteadyCase{20, milliseconds(150)}));

TEST(LinkEstimator, followsALinkThatIsHalved) {
  double rate = 10 * megabit;
  MotionOverALink motion([&](MonotonicTime) { return rate; }, milliseconds(20));
  motion.rateNow = [&] { return rate; };
  motion.run(seconds(5));
  rate = 5 * megabit;
  motion.run(milliseconds(500));
  motion.clear();
  motion.run(seconds(5));
  EXPECT_LE(motion.delay(0.95), 0.1);
  EXPECT_GE(motion.use(rate), 0.9);
}

TEST(LinkEstimator, isAtTheFullRateThreeSecondsAfterTheLinkRecovers) {
  double rate = 20 * megabit;
  MotionOverALink motion([&](MonotonicTime) { return rate; }, milliseconds(40));
  motion.rateNow = [&] { return rate; };
  motion.run(seconds(5));
  rate = 2 * megabit;
  motion.run(seconds(10));
  rate = 20 * megabit;
  motion.run(seconds(3));
  motion.clear();
  motion.run(seconds(2));
  EXPECT_GE(motion.use(rate), 0.85);
  EXPECT_GE(motion.picturesPerSecond(), 25);
}

TEST(LinkEstimator, queuesNoPicturesDuringAStallAndIsBackRightAfterIt) {
  double rate = 20 * megabit;
  MotionOverALink motion([&](MonotonicTime) { return rate; }, milliseconds(10));
  motion.rateNow = [&] { return std::max(rate, megabit); };
  motion.run(seconds(5));
  rate = 0;
  motion.clear();
  const std::size_t observations = motion.observations();
  motion.run(seconds(2));
  EXPECT_LE(motion.pictures(), 3U);
  EXPECT_LE(motion.observations() - observations, 40U);
  rate = 20 * megabit;
  motion.run(milliseconds(500));
  motion.clear();
  motion.run(seconds(2));
  EXPECT_GE(motion.use(rate), 0.85);
  EXPECT_LE(motion.delay(0.95), 0.1);
}

TEST(LinkEstimator, drainsAQueueThatAnotherSenderHasFilled) {
  double rate = 5 * megabit;
  MotionOverALink motion([&](MonotonicTime) { return rate; }, milliseconds(40));
  motion.rateNow = [] { return 5 * megabit; };
  motion.run(seconds(3));
  // A second sender takes three quarters of the link for two seconds.
  rate = 1.25 * megabit;
  motion.run(seconds(2));
  EXPECT_LE(motion.estimator.pictureRate(), 1.25 * 1.2 * megabit);
  rate = 5 * megabit;
  motion.run(seconds(3));
  EXPECT_GE(motion.estimator.pictureRate(), 4 * megabit);
}

TEST(LinkEstimator, letsAFastLinkTakeWhateverIsWanted) {
  const double rate = 8'000 * megabit;
  MotionOverALink motion([rate](MonotonicTime) { return rate; }, std::chrono::microseconds(50));
  motion.rateNow = [rate] { return rate; };
  motion.run(seconds(2));
  EXPECT_GE(motion.estimator.pictureRate(), 25 * megabit);
  motion.clear();
  const std::size_t observations = motion.observations();
  motion.run(seconds(10));
  EXPECT_GE(motion.picturesPerSecond(), 29);
  // Only the two observations of each picture.
  EXPECT_LE(motion.observations() - observations, 2 * motion.pictures() + 2);
}

TEST(LinkEstimator, assumesAThinLinkUntilItIsMeasured) {
  LinkEstimator estimator;
  EXPECT_TRUE(estimator.isOpen());
  EXPECT_EQ(estimator.pictureRate(), LinkEstimator::initialRate);
  estimator.accepted(at(seconds(1)), 60'000);
  EXPECT_FALSE(estimator.isOpen());
}

TEST(LinkEstimator, isNeverOpenWhileAPeerReadsNothing) {
  LinkEstimator estimator;
  estimator.accepted(at(seconds(1)), 60'000);
  for (int second = 2; second < 3'600; ++second) {
    estimator.observed(at(seconds(second)), 0, milliseconds(1));
    EXPECT_FALSE(estimator.isOpen());
  }
  ASSERT_TRUE(estimator.nextObservation());
  EXPECT_EQ(*estimator.nextObservation(), milliseconds(250));
}

TEST(LinkEstimator, forgetsBytesThatNeverReachedTheTransport) {
  LinkEstimator estimator;
  estimator.accepted(at(seconds(1)), 60'000);
  estimator.discarded(60'000);
  EXPECT_EQ(estimator.underWay(), 0U);
  EXPECT_TRUE(estimator.isOpen());
}

TEST(LinkEstimator, watchesNothingWhenNothingIsUnderWay) {
  LinkEstimator estimator;
  EXPECT_FALSE(estimator.nextObservation());
  estimator.accepted(at(seconds(1)), 10'000);
  estimator.observed(at(seconds(1) + milliseconds(1)), 10'000, milliseconds(1));
  EXPECT_FALSE(estimator.nextObservation());
}

TEST(LinkEstimator, doesNotInferAFastLinkFromAShortBurst) {
  LinkEstimator estimator;
  // Passed by a token bucket at once.
  estimator.accepted(at(seconds(1)), 12'000);
  estimator.observed(at(seconds(1) + milliseconds(1)), 12'000, milliseconds(1));
  EXPECT_EQ(estimator.deliveredRate(), 0);
  EXPECT_EQ(estimator.pictureRate(), LinkEstimator::initialRate);
}

TEST(LinkEstimator, doesNotMeasureTheLinkWithSmallMessages) {
  LinkEstimator estimator;
  // An echo of 100 bytes every 10 ms, four of them always in flight.
  for (int message = 0; message < 500; ++message) {
    const MonotonicTime now = at(seconds(1) + milliseconds(10) * message);
    estimator.accepted(now, 100);
    estimator.observed(now, message < 4 ? 0 : 100U * static_cast<unsigned>(message - 3), milliseconds(40));
  }
  EXPECT_EQ(estimator.deliveredRate(), 0);
  EXPECT_EQ(estimator.pictureRate(), LinkEstimator::initialRate);
}

TEST(LinkEstimator, doesNotRaiseAnUnusedRate) {
  LinkEstimator estimator;
  MonotonicTime now = at(seconds(1));
  estimator.accepted(now, 100'000);
  std::uint64_t acknowledged = 0;
  for (int look = 0; look < 10; ++look) {
    now += milliseconds(20);
    estimator.observed(now, acknowledged += 5'000, milliseconds(1));
  }
  estimator.pictureWanted(now, 25 * megabit);
  const double before = estimator.pictureRate();
  EXPECT_NEAR(before, 2 * megabit, 0.5 * megabit);
  estimator.observed(now += milliseconds(200), 100'000, milliseconds(1));
  // Small changes only, for a minute.
  for (int picture = 0; picture < 600; ++picture) {
    now += milliseconds(100);
    estimator.pictureWanted(now, 25 * megabit);
    estimator.accepted(now, 500);
    acknowledged = 100'000 + 500U * static_cast<unsigned>(picture + 1);
    estimator.observed(now + milliseconds(20), acknowledged, milliseconds(1));
  }
  EXPECT_LE(estimator.pictureRate(), before * 1.5);
}

}  // namespace
}  // namespace quorl::test
