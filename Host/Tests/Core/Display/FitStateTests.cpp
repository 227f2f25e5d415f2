// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Display/FitState.h>

#include <limits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace quorl {
namespace {

using Change = FitState::Change;
using Mode = FitState::Mode;

TEST(FitState, clampsTheScaleBetweenThreeTenthsAndOne) {
  FitState fit;
  EXPECT_EQ(fit.takeScale(0.1), Change::yes);
  EXPECT_DOUBLE_EQ(fit.fitScale, 0.3);
  EXPECT_EQ(fit.takeScale(2.0), Change::yes);
  EXPECT_DOUBLE_EQ(fit.fitScale, 1.0);
}

TEST(FitState, ignoresAChangeOfScaleOfLessThanAHundredth) {
  FitState fit;
  fit.takeScale(0.5);
  EXPECT_EQ(fit.takeScale(0.505), Change::no);
  EXPECT_DOUBLE_EQ(fit.fitScale, 0.5);
  EXPECT_EQ(fit.takeScale(0.52), Change::yes);
}

TEST(FitState, ignoresAnAspectWithoutPoints) {
  FitState fit;
  EXPECT_EQ(fit.takeAspect(0, 768), Change::no);
  EXPECT_EQ(fit.takeAspect(1024, 0), Change::no);
  EXPECT_EQ(fit.takeAspect(-1, -1), Change::no);
  EXPECT_FALSE(fit.clientAspect);
}

TEST(FitState, ignoresAnAspectThatIsNoNumber) {
  constexpr double infinite = std::numeric_limits<double>::infinity();
  constexpr double nan = std::numeric_limits<double>::quiet_NaN();
  FitState fit;
  for (const auto& [wide, high] : std::vector<std::pair<double, double>>{{nan, 768},
                                                                         {1024, nan},
                                                                         {infinite, 768},
                                                                         {1, infinite},
                                                                         {infinite, infinite},
                                                                         {-infinite, -1},
                                                                         {1e300, 1e-300}})
    EXPECT_EQ(fit.takeAspect(wide, high), Change::no) << wide << "x" << high;
  EXPECT_FALSE(fit.clientAspect);
  EXPECT_EQ(fit.takeAspect(1e300, 1e300), Change::yes);
  EXPECT_DOUBLE_EQ(*fit.clientAspect, 1.0);
}

TEST(FitState, takesAnyScale) {
  constexpr double infinite = std::numeric_limits<double>::infinity();
  FitState fit;
  EXPECT_EQ(fit.takeScale(std::numeric_limits<double>::quiet_NaN()), Change::no);
  EXPECT_DOUBLE_EQ(fit.fitScale, 1.0);
  EXPECT_EQ(fit.takeScale(-infinite), Change::yes);
  EXPECT_DOUBLE_EQ(fit.fitScale, 0.3);
  EXPECT_EQ(fit.takeScale(infinite), Change::yes);
  EXPECT_DOUBLE_EQ(fit.fitScale, 1.0);
}

TEST(FitState, ignoresAChangeOfAspectOfAHundredthOrLess) {
  FitState fit;
  EXPECT_EQ(fit.takeAspect(1024, 1024), Change::yes);
  EXPECT_EQ(fit.takeAspect(1034, 1024), Change::no);
  EXPECT_DOUBLE_EQ(*fit.clientAspect, 1.0);
  EXPECT_EQ(fit.takeAspect(1035, 1024), Change::yes);
}

TEST(FitState, choosesTheModeFromAspectAndScale) {
  FitState fit;
  EXPECT_EQ(fit.mode(), Mode::none);
  fit.takeAspect(4, 3);
  EXPECT_EQ(fit.mode(), Mode::aspect);
  EXPECT_EQ(fit.takeAutoFit(false), Change::yes);
  EXPECT_EQ(fit.takeAutoFit(false), Change::no);
  EXPECT_EQ(fit.mode(), Mode::none);
  fit.takeScale(0.8);
  EXPECT_EQ(fit.mode(), Mode::scale);
  fit.takeAutoFit(true);
  fit.clientAspect = 0.1;
  EXPECT_EQ(fit.mode(), Mode::scale);
}

}  // namespace
}  // namespace quorl
