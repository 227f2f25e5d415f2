// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Display/EncodedSize.h>

#include <limits>
#include <ostream>

#include <gtest/gtest.h>

namespace quorl {

static void PrintTo(const PixelSize& size, std::ostream* out) {
  *out << size.width << "x" << size.height;
}

namespace {

constexpr std::int64_t unlimited = std::numeric_limits<std::int64_t>::max();

struct Row {
  PointSize points;
  double scale;
  std::int64_t maxDimension;
  PixelSize expected;
};

TEST(EncodedSize, followsTheTable) {
  const Row rows[] = {
      {{1920, 1080}, 1.0, 1920, {1920, 1080}},
      {{1920, 1080}, 1.0, 1280, {1280, 720}},
      {{1920, 1080}, 1.0, unlimited, {1920, 1080}},
      {{960, 540}, 2.0, 1920, {1920, 1080}},
      {{960, 540}, 2.0, 1919, {1918, 1078}},
      {{1080, 1920}, 1.0, 1280, {720, 1280}},
      {{1280, 800}, 1.5, 4096, {1920, 1200}},
      {{1001, 1001}, 1.0, 1000, {1000, 1000}},
      {{1001.9, 501.9}, 1.0, unlimited, {1000, 500}},
      {{3, 5}, 1.0, unlimited, {2, 4}},
      {{4000, 10}, 1.0, 100, {100, 2}},
  };
  for (const Row& row : rows)
    EXPECT_EQ(encodedSizeFor(row.points, row.scale, row.maxDimension), row.expected)
        << row.points.width << "x" << row.points.height << " at " << row.scale << ", " << row.maxDimension;
}

TEST(EncodedSize, ofADisplayOfOnePointIsTwoByTwo) {
  EXPECT_EQ(encodedSizeFor({1, 1}, 1.0, 1920), (PixelSize{2, 2}));
}

TEST(EncodedSize, isEvenAndAtLeastTwoForAnyLimit) {
  for (const std::int64_t limit : {std::numeric_limits<std::int64_t>::min(), std::int64_t{-1},
                                   std::int64_t{0}, std::int64_t{1}, std::int64_t{2}, std::int64_t{3}}) {
    const PixelSize size = encodedSizeFor({1921, 1081}, 1.0, limit);
    EXPECT_EQ(size, (PixelSize{2, 2})) << limit;
  }
}

TEST(EncodedSize, ofNonsenseIsStillASize) {
  const double infinity = std::numeric_limits<double>::infinity();
  const double nan = std::numeric_limits<double>::quiet_NaN();
  EXPECT_EQ(encodedSizeFor({nan, -5}, 1.0, 100), (PixelSize{2, 2}));
  EXPECT_EQ(encodedSizeFor({infinity, 10}, 1.0, 100), (PixelSize{100, 2}));
  EXPECT_EQ(encodedSizeFor({100, 100}, 0, 100), (PixelSize{2, 2}));
}

// The longer side reaches any limit exactly: no pixel is lost by rounding a quotient.
TEST(EncodedSize, reachesEveryEvenLimit) {
  for (int limit = 2; limit < 3840; limit += 2)
    ASSERT_EQ(encodedSizeFor({3841, 2161}, 1.0, limit).width, limit);
}

}  // namespace
}  // namespace quorl
