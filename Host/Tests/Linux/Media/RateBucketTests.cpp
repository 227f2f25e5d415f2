// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Media/RateBucket.h>

#include <algorithm>
#include <random>
#include <vector>

#include <gtest/gtest.h>

namespace quorl {
namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;

struct Spent {
  microseconds time;
  std::int64_t bits;
};

std::int64_t mostInASecond(const std::vector<Spent>& pictures) {
  std::int64_t most = 0;
  for (const Spent& first : pictures) {
    std::int64_t bits = 0;
    for (const Spent& other : pictures)
      if (other.time >= first.time && other.time < first.time + std::chrono::seconds(1)) bits += other.bits;
    most = std::max(most, bits);
  }
  return most;
}

// An encoder that spends all available bits, at irregular times.
TEST(RateBucket, holdsEverySecondWhateverTheRhythm) {
  constexpr std::int64_t rate = 8'000'000;
  for (std::uint32_t seed = 1; seed <= 20; ++seed) {
    std::mt19937 random(seed);
    RateBucket bucket(rate);
    std::vector<Spent> pictures;
    microseconds time{0};
    for (int count = 0; count < 400; ++count) {
      time +=
          random() % 20 == 0 ? microseconds(random() % 2'000'000) : microseconds(1'000 + random() % 40'000);
      bucket.advance(time);
      const auto bits = static_cast<std::int64_t>(std::max(bucket.available(), 0.0));
      bucket.spend(bits);
      pictures.push_back({time, bits});
    }
    EXPECT_LE(mostInASecond(pictures), rate * 3 / 2) << "seed " << seed;
  }
}

TEST(RateBucket, givesTheAverageRateInTheLongRun) {
  constexpr std::int64_t rate = 4'000'000;
  RateBucket bucket(rate);
  std::int64_t total = 0;
  for (int count = 0; count < 600; ++count) {
    bucket.advance(microseconds(16'667) * count);
    const auto bits = static_cast<std::int64_t>(bucket.available());
    bucket.spend(bits);
    total += bits;
  }
  EXPECT_GT(total, rate * 10 * 95 / 100);
  EXPECT_LT(total, rate * 10 * 106 / 100);
}

TEST(RateBucket, makesTheNextPicturesPayForALargeOne) {
  RateBucket bucket(1'000'000);
  bucket.advance(milliseconds(0));
  bucket.spend(650'000);
  EXPECT_DOUBLE_EQ(bucket.available(), -200'000);
  bucket.advance(milliseconds(200));
  EXPECT_NEAR(bucket.available(), 0, 1);
}

TEST(RateBucket, isFullForTheFirstPictureOfAnyRate) {
  RateBucket bucket(2'000'000);
  bucket.setRate(20'000'000);
  EXPECT_DOUBLE_EQ(bucket.available(), 20'000'000 * RateBucket::capacitySeconds);
  bucket.advance(milliseconds(5));
  bucket.setRate(40'000'000);
  EXPECT_DOUBLE_EQ(bucket.available(), 20'000'000 * RateBucket::capacitySeconds) << "it has yet to fill";
}

TEST(RateBucket, followsALowerRateAtOnce) {
  RateBucket bucket(20'000'000);
  bucket.advance(milliseconds(1));
  bucket.setRate(2'000'000);
  EXPECT_LE(bucket.available(), 2'000'000 / 2);
}

TEST(RateBucket, acceptsTimesThatRepeatOrRunBackwards) {
  RateBucket bucket(2'000'000);
  bucket.advance(milliseconds(100));
  bucket.spend(500'000);
  const double before = bucket.available();
  bucket.advance(milliseconds(100));
  bucket.advance(milliseconds(50));
  EXPECT_DOUBLE_EQ(bucket.available(), before);
  bucket.advance(milliseconds(110));
  EXPECT_NEAR(bucket.available(), before + 20'000, 1);
}

}  // namespace
}  // namespace quorl
