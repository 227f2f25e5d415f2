// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Display/WindowFit.h>

#include <gtest/gtest.h>

namespace quorl {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using Mode = FitState::Mode;
using Source = WindowFit::Source;

const PointRect original{{100, 50}, {640, 480}};
const PointRect asked{{120, 32}, {1200, 800}};

MonotonicTime at(Duration sinceStart) {
  return MonotonicTime(sinceStart);
}

PointRect resized(PointRect rect, double wider, double higher) {
  rect.size.width += wider;
  rect.size.height += higher;
  return rect;
}

class WindowFitTest : public testing::Test {
 protected:
  void fitToAspect() {
    fit_.takeAspect(1500, 1000);
    fit_.fitted({7, 42, "Notes"}, original, asked, 1.5, at(seconds(10)));
  }

  WindowFit fit_;
};

TEST_F(WindowFitTest, plansTheClientsAspectElseTheScaleElseNothing) {
  EXPECT_FALSE(fit_.plan());
  fit_.takeScale(0.5);
  ASSERT_TRUE(fit_.plan());
  EXPECT_EQ(fit_.plan()->mode, Mode::scale);
  EXPECT_FALSE(fit_.plan()->aspect);
  EXPECT_DOUBLE_EQ(fit_.plan()->scale, 0.5);
  fit_.takeAspect(1500, 1000);
  EXPECT_EQ(fit_.plan()->mode, Mode::aspect);
  EXPECT_DOUBLE_EQ(*fit_.plan()->aspect, 1.5);
  EXPECT_DOUBLE_EQ(fit_.plan()->scale, 0.5);
  fit_.takeAutoFit(false);
  fit_.resetScale();
  EXPECT_FALSE(fit_.plan());
}

TEST_F(WindowFitTest, verifiesAfterEightTenthsAndSixteenTenthsOfASecond) {
  EXPECT_FALSE(fit_.beginVerification()) << "there is no fit";
  fitToAspect();
  EXPECT_EQ(fit_.beginVerification(), milliseconds(800));
  const auto first = fit_.verify(resized(asked, -13, 0), at(milliseconds(10'800)));
  ASSERT_TRUE(first);
  EXPECT_EQ(first->number, 1);
  EXPECT_DOUBLE_EQ(first->drift, 13);
  ASSERT_TRUE(first->plan);
  EXPECT_DOUBLE_EQ(*first->plan->aspect, 1.5);
  EXPECT_EQ(fit_.nextVerification(), milliseconds(1'600));
  const auto second = fit_.verify(resized(asked, 6, 7), at(milliseconds(12'400)));
  ASSERT_TRUE(second);
  EXPECT_EQ(second->number, 2);
  EXPECT_EQ(fit_.nextVerification(), milliseconds(800));
  EXPECT_FALSE(fit_.verify(original, at(milliseconds(13'200)))) << "no third retry";
  EXPECT_EQ(fit_.beginVerification(), milliseconds(800)) << "a restart verifies afresh";
}

TEST_F(WindowFitTest, takesTheWindowsOwnSizeForTheFitOnceTheRetriesAreOver) {
  fitToAspect();
  fit_.beginVerification();
  EXPECT_FALSE(fit_.keepsOwnSize(original));
  ASSERT_TRUE(fit_.verify(original, at(milliseconds(10'800))));
  EXPECT_FALSE(fit_.keepsOwnSize(original));
  ASSERT_TRUE(fit_.verify(original, at(milliseconds(12'400))));
  EXPECT_FALSE(fit_.keepsOwnSize(resized(asked, -6, 6))) << "it has settled";
  EXPECT_FALSE(fit_.keepsOwnSize({{100, 50}, {0, 0}}));
  EXPECT_EQ(fit_.size(), asked.size);
  EXPECT_TRUE(fit_.keepsOwnSize(original));
  EXPECT_EQ(fit_.size(), original.size);
  EXPECT_FALSE(fit_.keepsOwnSize(original)) << "that is known";
  EXPECT_FALSE(fit_.beginVerification()) << "it was asked often enough";
  EXPECT_FALSE(fit_.giveBack(original, at(seconds(20)))) << "as a window that the user has changed";
}

TEST_F(WindowFitTest, remembersARefusalWhenTheSameIsAskedOfTheSameWindow) {
  fitToAspect();
  fit_.beginVerification();
  ASSERT_TRUE(fit_.verify(original, at(milliseconds(10'800))));
  ASSERT_TRUE(fit_.verify(original, at(milliseconds(12'400))));
  ASSERT_TRUE(fit_.keepsOwnSize(original));
  fitToAspect();
  EXPECT_EQ(fit_.size(), original.size);
  EXPECT_EQ(fit_.beginVerification(), milliseconds(800));
  EXPECT_FALSE(fit_.verify(asked, at(seconds(14)))) << "no retry";
  EXPECT_TRUE(fit_.keepsOwnSize(asked)) << "it has accepted this time";
  EXPECT_EQ(fit_.size(), asked.size);
  fit_.fitted({8, 42, "Other"}, original, asked, 1.5, at(seconds(20)));
  EXPECT_EQ(fit_.size(), asked.size);
}

TEST_F(WindowFitTest, hasTheSizeOfTheNextFitAfterOneThatTheWindowRefused) {
  fitToAspect();
  fit_.beginVerification();
  ASSERT_TRUE(fit_.verify(original, at(milliseconds(10'800))));
  ASSERT_TRUE(fit_.verify(original, at(milliseconds(12'400))));
  ASSERT_TRUE(fit_.keepsOwnSize(original));
  fit_.forgetLastFit();
  EXPECT_EQ(fit_.size(), std::nullopt);
  fitToAspect();
  EXPECT_EQ(fit_.size(), asked.size);
  EXPECT_EQ(fit_.beginVerification(), milliseconds(800));
}

TEST_F(WindowFitTest, hasSettledWithinTwelvePoints) {
  fitToAspect();
  fit_.beginVerification();
  EXPECT_FALSE(fit_.verify(resized(asked, -6, 6), at(seconds(11))));
  PointRect movedOnly = asked;
  movedOnly.origin.x += 500;
  EXPECT_FALSE(fit_.verify(movedOnly, at(seconds(11))));
}

TEST_F(WindowFitTest, retriesWithTheAspectOfTheFirstFitWhenItIsTheWindowsOwn) {
  fit_.takeScale(0.5);
  fit_.fitted({7, 42, "Notes"}, original, asked, 4.0 / 3, at(seconds(10)));
  fit_.beginVerification();
  const auto retry = fit_.verify(resized(asked, -100, 0), at(seconds(11)));
  ASSERT_TRUE(retry && retry->plan);
  EXPECT_DOUBLE_EQ(*retry->plan->aspect, 4.0 / 3);
}

TEST_F(WindowFitTest, retriesNoFitThatTheClientNoLongerWants) {
  fitToAspect();
  fit_.beginVerification();
  fit_.takeAutoFit(false);
  const auto retry = fit_.verify(resized(asked, -100, 0), at(seconds(11)));
  ASSERT_TRUE(retry);
  EXPECT_FALSE(retry->plan);
}

TEST_F(WindowFitTest, comparesWithTheFrameOfTheRetry) {
  fitToAspect();
  fit_.beginVerification();
  ASSERT_TRUE(fit_.verify(resized(asked, -100, 0), at(seconds(11))));
  fit_.refitted(resized(asked, -100, 0));
  EXPECT_FALSE(fit_.verify(resized(asked, -100, 0), at(seconds(12))));
  EXPECT_TRUE(fit_.giveBack(resized(asked, -100, 0), at(seconds(20))));
}

TEST_F(WindowFitTest, takesNoResizeOfTheSettlingTimeForTheUsers) {
  fitToAspect();
  const auto moved = fit_.moved(asked, resized(asked, 100, 0), Source::window, at(milliseconds(12'500)));
  EXPECT_FALSE(moved.needsRestart);
  EXPECT_TRUE(fit_.wishes().autoFit);
  EXPECT_TRUE(fit_.keptWindow());
}

TEST_F(WindowFitTest, yieldsToAResizeAfterTheSettlingTime) {
  fitToAspect();
  fit_.takeScale(0.5);
  const auto moved =
      fit_.moved(asked, resized(asked, 0, -9), Source::window, at(milliseconds(12'500)) + Duration(1));
  EXPECT_TRUE(moved.needsRestart);
  EXPECT_TRUE(moved.pushesNotFitted);
  EXPECT_TRUE(moved.isTakenOverByUser);
  EXPECT_FALSE(fit_.wishes().autoFit);
  EXPECT_DOUBLE_EQ(fit_.wishes().fitScale, 1.0);
  EXPECT_FALSE(fit_.plan());
  EXPECT_FALSE(fit_.keptWindow());
  EXPECT_FALSE(fit_.lastFittedRect());
  EXPECT_FALSE(fit_.giveBack(asked, at(seconds(20))));
}

TEST_F(WindowFitTest, saysOnlyOnceThatTheUserHasTakenOver) {
  fitToAspect();
  fit_.moved(asked, resized(asked, 50, 0), Source::window, at(seconds(20)));
  const auto again = fit_.moved(resized(asked, 50, 0), asked, Source::window, at(seconds(21)));
  EXPECT_TRUE(again.needsRestart);
  EXPECT_FALSE(again.pushesNotFitted);
}

TEST_F(WindowFitTest, takesEightPointsForNoResize) {
  fitToAspect();
  EXPECT_FALSE(fit_.moved(asked, resized(asked, 8, -8), Source::window, at(seconds(20))).needsRestart);
  EXPECT_TRUE(fit_.wishes().autoFit);
}

TEST_F(WindowFitTest, extendsTheSettlingTimeWithEachRetry) {
  fitToAspect();
  fit_.beginVerification();
  ASSERT_TRUE(fit_.verify(original, at(milliseconds(12'400))));
  EXPECT_FALSE(fit_.moved(asked, original, Source::window, at(milliseconds(14'900))).needsRestart);
  EXPECT_TRUE(fit_.moved(asked, original, Source::window, at(milliseconds(14'901))).needsRestart);
}

TEST_F(WindowFitTest, takesAChangeOfSeveralWindowsForNoResizeByTheUser) {
  fitToAspect();
  const auto moved = fit_.moved(asked, original, Source::severalWindows, at(seconds(20)));
  EXPECT_TRUE(moved.needsRestart);
  EXPECT_FALSE(moved.isTakenOverByUser);
  EXPECT_TRUE(fit_.wishes().autoFit);
}

TEST_F(WindowFitTest, givesTheOriginalFrameBackOnce) {
  fitToAspect();
  fit_.fitted({7, 42, "Notes 2"}, asked, resized(asked, -200, 0), 1.25, at(seconds(20)));
  const auto back = fit_.giveBack(resized(asked, -200, 11), at(seconds(30)));
  ASSERT_TRUE(back);
  EXPECT_EQ(back->frame, original);
  EXPECT_EQ(back->window.windowID, 7U);
  EXPECT_EQ(back->window.pid, 42);
  EXPECT_EQ(back->window.title, "Notes 2");
  EXPECT_FALSE(fit_.keptWindow());
  EXPECT_FALSE(fit_.giveBack(resized(asked, -200, 11), at(seconds(30))));
  EXPECT_FALSE(fit_.moved(asked, original, Source::window, at(milliseconds(32'500))).needsRestart);
}

TEST_F(WindowFitTest, leavesAWindowAloneThatTheUserChangedByTwelvePoints) {
  fitToAspect();
  EXPECT_FALSE(fit_.giveBack(resized(asked, 6, -6), at(seconds(20))));
  EXPECT_FALSE(fit_.keptWindow());
}

TEST_F(WindowFitTest, givesAWindowBackWhoseLastFitIsForgotten) {
  fitToAspect();
  fit_.forgetLastFit();
  EXPECT_FALSE(fit_.beginVerification());
  EXPECT_TRUE(fit_.giveBack(resized(asked, 500, 0), at(seconds(20))));
}

TEST_F(WindowFitTest, givesNothingBackToAWindowThatIsGone) {
  fitToAspect();
  EXPECT_FALSE(fit_.giveBack(std::nullopt, at(seconds(20))));
  EXPECT_FALSE(fit_.keptWindow());
}

}  // namespace
}  // namespace quorl
