// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Display/RateControl.h>

#include <limits>

#include <gtest/gtest.h>

namespace quorl {
namespace {

TEST(RateControl, matchesTheWorkedExample) {
  const CompressionRates rates = compressionRates({1920, 1080}, 60, 0.5);
  EXPECT_EQ(rates.averageBitRate, 13'685'760);
  EXPECT_EQ(rates.dataRateLimitBytes, 2'566'080);
  EXPECT_EQ(rates.dataRateLimitWindow, std::chrono::seconds(1));
  EXPECT_EQ(rates.expectedFrameRate, 60);
}

TEST(RateControl, capsAnySecondAtOneAndAHalfTimesTheAverage) {
  for (const double quality : {0.0, 0.3, 0.77, 1.0}) {
    const CompressionRates rates = compressionRates({1280, 720}, 30, quality);
    EXPECT_EQ(rates.dataRateLimitBytes, rates.averageBitRate * 3 / 16);
    EXPECT_LE(static_cast<double>(rates.dataRateLimitBytes) * 8,
              static_cast<double>(rates.averageBitRate) * 1.5);
  }
}

TEST(RateControl, treatsAQualityAboveOneAsOne) {
  EXPECT_EQ(compressionRates({1280, 720}, 60, 1.5), compressionRates({1280, 720}, 60, 1.0));
}

TEST(RateControl, treatsAQualityBelowZeroAsZero) {
  EXPECT_EQ(compressionRates({1920, 1080}, 60, -1), compressionRates({1920, 1080}, 60, 0));
  EXPECT_EQ(compressionRates({1920, 1080}, 60, std::numeric_limits<double>::quiet_NaN()),
            compressionRates({1920, 1080}, 60, 0));
}

TEST(RateControl, raisesASmallStreamToTwoMegabits) {
  const PixelSize vga{640, 480};
  EXPECT_LT(0.02 * 30 * vga.width * vga.height, 2'000'000);
  EXPECT_EQ(compressionRates(vga, 30, 0).averageBitRate, 2'000'000);
  EXPECT_EQ(compressionRates({2, 2}, -5, 1).averageBitRate, 2'000'000);
}

TEST(RateControl, capsALargeStreamAtEightyMegabits) {
  EXPECT_EQ(compressionRates({3840, 2160}, 60, 1).averageBitRate, 80'000'000);
  EXPECT_EQ(compressionRates({3840, 2160}, std::numeric_limits<int>::max(), 1).averageBitRate, 80'000'000);
}

TEST(LinkRates, areAbsentIfTheLinkIsNotTheLimit) {
  const CompressionRates rates = compressionRates({1920, 1080}, 60, 0.5);
  EXPECT_FALSE(linkRates(rates, {1920, 1080}, 0));
  EXPECT_FALSE(linkRates(rates, {1920, 1080}, 1e9));
}

TEST(LinkRates, neverExceedWhatTheQualityAsksFor) {
  const CompressionRates rates = compressionRates({1920, 1080}, 60, 0.5);
  const auto link = linkRates(rates, {1920, 1080}, 5e6);
  ASSERT_TRUE(link);
  EXPECT_EQ(link->bitRate, rates.averageBitRate);
  EXPECT_EQ(link->frameRate, 60);
}

TEST(LinkRates, lowerTheFrameRateBeforeTheDetail) {
  const CompressionRates rates = compressionRates({1920, 1080}, 60, 0.5);
  const auto link = linkRates(rates, {1920, 1080}, 250'000);
  ASSERT_TRUE(link);
  EXPECT_EQ(link->bitRate, 2'000'000);
  EXPECT_EQ(link->frameRate, 12);
  EXPECT_NEAR(static_cast<double>(link->pictureBytes), 0.08 * 1920 * 1080 / 8, 200);
}

TEST(LinkRates, lowerTheDetailBelowEightPicturesASecond) {
  const CompressionRates rates = compressionRates({1920, 1080}, 60, 0.5);
  const auto link = linkRates(rates, {1920, 1080}, 25'000);
  ASSERT_TRUE(link);
  EXPECT_EQ(link->frameRate, 8);
  EXPECT_EQ(link->pictureBytes, 25'000 / 8);
}

TEST(LinkRates, keepAFrameRateBelowEightThatWasAskedFor) {
  const CompressionRates rates = compressionRates({1920, 1080}, 5, 0.5);
  const auto link = linkRates(rates, {1920, 1080}, 25'000);
  ASSERT_TRUE(link);
  EXPECT_EQ(link->frameRate, 5);
}

}  // namespace
}  // namespace quorl
