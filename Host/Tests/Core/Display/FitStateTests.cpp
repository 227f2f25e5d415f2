// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Display/FitState.h>

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
