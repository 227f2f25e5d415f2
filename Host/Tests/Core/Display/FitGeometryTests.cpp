// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Display/FitGeometry.h>

#include <limits>
#include <ostream>
#include <vector>

#include <gtest/gtest.h>

namespace quorl {

// For the messages of failures.
std::ostream& operator<<(std::ostream& out, const PointRect& rect) {
  return out << rect.origin.x << "," << rect.origin.y << " " << rect.size.width << "x" << rect.size.height;
}

namespace {

constexpr double infinite = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double huge = 1e300;

const PointRect visible{{0, 32}, {1440, 800}};
const PointRect middle{{520, 332}, {400, 200}};  // centred in `visible`

TEST(FittedFrame, isTheLargestOfItsAspect) {
  EXPECT_EQ(fittedFrame(visible, middle, 1.5, 1), (PointRect{{120, 32}, {1200, 800}}));
  EXPECT_EQ(fittedFrame(visible, middle, 2.0, 1), (PointRect{{0, 72}, {1440, 720}}));
}

TEST(FittedFrame, isScaledAndAtLeast320PointsWide) {
  EXPECT_EQ(fittedFrame(visible, middle, 1.5, 0.5)->size, (PointSize{600, 400}));
  EXPECT_EQ(fittedFrame(visible, middle, 1.5, 0.1)->size, (PointSize{320, 213}));
  EXPECT_EQ(fittedFrame(visible, middle, 2.0, 0.1)->size, (PointSize{320, 160}));
}

TEST(FittedFrame, countsAScaleBelowTwoTenthsAsTwoTenths) {
  const PointRect wide{{0, 0}, {4000, 1000}};
  EXPECT_EQ(fittedFrame(wide, middle, 4.0, 0.1)->size, (PointSize{800, 200}));
  EXPECT_EQ(fittedFrame(wide, middle, 4.0, 0.2)->size, (PointSize{800, 200}));
  EXPECT_EQ(fittedFrame(wide, middle, 4.0, 7.0)->size, (PointSize{4000, 1000}));
}

TEST(FittedFrame, isMovedFromTheEdgesIntoTheVisiblePart) {
  const PointRect right{{1300, 400}, {100, 100}};
  EXPECT_EQ(fittedFrame(visible, right, 1.5, 0.5), (PointRect{{840, 250}, {600, 400}}));
  const PointRect below{{0, 790}, {100, 100}};
  EXPECT_EQ(fittedFrame(visible, below, 1.5, 0.5), (PointRect{{0, 432}, {600, 400}}));
  const PointRect above{{0, 0}, {100, 20}};
  EXPECT_EQ(fittedFrame(visible, above, 1.5, 0.5), (PointRect{{0, 32}, {600, 400}}));
}

TEST(FittedFrame, liesLeftOfAVisiblePartThatIsTooNarrow) {
  const PointRect narrow{{1000, 0}, {200, 600}};
  const PointRect current{{1050, 100}, {100, 100}};
  EXPECT_EQ(fittedFrame(narrow, current, 2.0, 1), (PointRect{{880, 70}, {320, 160}}));
}

TEST(FittedFrame, isLowForAVeryWideAspectAndAbsentWithoutAnyHeight) {
  EXPECT_EQ(fittedFrame(visible, middle, 100, 1)->size, (PointSize{1440, 14}));
  EXPECT_EQ(fittedFrame(visible, middle, 1e6, 1), std::nullopt);
}

TEST(FittedFrame, isInWholePoints) {
  const PointRect odd{{10.25, 40.75}, {333.3, 222.2}};
  const auto frame = fittedFrame({{0.5, 32.25}, {1440.5, 800.5}}, odd, 1.7, 0.77);
  ASSERT_TRUE(frame);
  for (const double value : {frame->origin.x, frame->origin.y, frame->size.width, frame->size.height})
    EXPECT_DOUBLE_EQ(value, static_cast<double>(static_cast<long>(value)));
}

TEST(FittedFrame, isAbsentForValuesThatMakeNoFrame) {
  struct Row {
    PointRect visible;
    PointRect current;
    double aspect;
    double scale;
  };
  const std::vector<Row> rows{
      {visible, middle, 0, 1},
      {visible, middle, -1.5, 1},
      {visible, middle, nan, 1},
      {visible, middle, infinite, 1},
      {visible, middle, huge, 1},
      {{{0, 0}, {0, 800}}, middle, 1.5, 1},
      {{{0, 0}, {1440, -1}}, middle, 1.5, 1},
      {{{0, 0}, {nan, 800}}, middle, 1.5, 1},
      {{{0, 0}, {infinite, 800}}, middle, 1.5, 1},
      {{{nan, 0}, {1440, 800}}, middle, 1.5, 1},
      {visible, {{nan, 0}, {10, 10}}, 1.5, 1},
      {visible, {{0, infinite}, {10, 10}}, 1.5, 1},
      {visible, {{0, 0}, {-infinite, 10}}, 1.5, 1},
      {visible, middle, std::numeric_limits<double>::denorm_min(), 1},
  };
  for (const Row& row : rows)
    EXPECT_EQ(fittedFrame(row.visible, row.current, row.aspect, row.scale), std::nullopt)
        << row.visible << " / " << row.current << " aspect " << row.aspect;
}

TEST(FittedFrame, takesAnyScale) {
  for (const double scale : {nan, -infinite, -1.0, 0.0})
    EXPECT_EQ(fittedFrame(visible, middle, 1.5, scale)->size, (PointSize{320, 213})) << scale;
  for (const double scale : {infinite, huge, 1.0})
    EXPECT_EQ(fittedFrame(visible, middle, 1.5, scale)->size, (PointSize{1200, 800})) << scale;
}

TEST(FittedFrame, staysOnTheScreenForAFrameFarAway) {
  const PointRect far{{huge, -huge}, {1, 1}};
  EXPECT_EQ(fittedFrame(visible, far, 1.5, 0.5), (PointRect{{840, 32}, {600, 400}}));
}

TEST(ScreenContaining, isTheFirstWithTheCentreElseTheMainOne) {
  const std::vector<ScreenFrames> screens{
      {{{1440, 0}, {1000, 800}}, {}, false},
      {{{0, 0}, {1440, 832}}, {}, true},
      {{{1440, 0}, {1000, 800}}, {}, false},
  };
  EXPECT_EQ(screenContaining(screens, {{1400, 10}, {100, 100}}), &screens[0]);
  EXPECT_EQ(screenContaining(screens, {{1400, 10}, {70, 100}}), &screens[1]);
  EXPECT_EQ(screenContaining(screens, {{5000, 5000}, {10, 10}}), &screens[1]);
  EXPECT_EQ(screenContaining(screens, {{nan, nan}, {10, 10}}), &screens[1]);
  EXPECT_EQ(screenContaining({}, {{0, 0}, {10, 10}}), nullptr);
  const std::vector<ScreenFrames> noMain{{{{0, 0}, {100, 100}}, {}, false}};
  EXPECT_EQ(screenContaining(noMain, {{500, 0}, {10, 10}}), nullptr);
}

TEST(Drift, addsTheDifferences) {
  const PointRect one{{10, 20}, {300, 200}};
  const PointRect other{{13, 16}, {298, 207}};
  EXPECT_DOUBLE_EQ(sizeDrift(one, other), 9);
  EXPECT_DOUBLE_EQ(frameDrift(one, other), 16);
}

}  // namespace
}  // namespace quorl
