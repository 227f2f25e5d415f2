// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Display/RefinementPolicy.h>

#include <vector>

#include <gtest/gtest.h>

namespace quorl {
namespace {

using std::chrono::milliseconds;

MonotonicTime at(int ms) {
  return MonotonicTime{} + milliseconds(ms);
}

TEST(RefinementPolicy, asksForNothingWhileThePictureIsSharp) {
  RefinementPolicy policy;
  EXPECT_FALSE(policy.due());
  policy.changed(at(0));
  EXPECT_FALSE(policy.due());
  policy.encoded({20});
  EXPECT_FALSE(policy.due());
}

TEST(RefinementPolicy, asksForNothingWhenTheEncoderDoesNotSayHowCoarseItIs) {
  RefinementPolicy policy;
  policy.changed(at(0));
  policy.encoded({-1});
  EXPECT_FALSE(policy.due());
}

TEST(RefinementPolicy, repeatsACoarsePictureOnceTheScreenIsQuiet) {
  RefinementPolicy policy;
  policy.changed(at(0));
  policy.encoded({40});
  EXPECT_EQ(policy.due(), at(60));
}

TEST(RefinementPolicy, startsTheQuietAgainWithEachChange) {
  RefinementPolicy policy;
  policy.changed(at(0));
  policy.encoded({40});
  policy.changed(at(16));
  EXPECT_FALSE(policy.due()) << "the newest picture is not out yet";
  policy.encoded({38});
  EXPECT_EQ(policy.due(), at(76));
}

TEST(RefinementPolicy, repeatsUntilItIsSharpWithinAHundredMilliseconds) {
  RefinementPolicy policy;
  policy.changed(at(0));
  policy.encoded({40});
  policy.repeated(at(60));
  EXPECT_FALSE(policy.due());
  policy.encoded({30});
  ASSERT_TRUE(policy.due());
  EXPECT_LE(*policy.due(), at(100));
  policy.repeated(*policy.due());
  policy.encoded({22});
  EXPECT_FALSE(policy.due());
}

TEST(RefinementPolicy, repeatsUntilThePictureIsAsSharpAsItsEncoderCanMakeIt) {
  RefinementPolicy policy;
  policy.changed(at(0));
  policy.encoded({.quantizer = 24, .sharp = 19});
  EXPECT_EQ(policy.due(), at(60));
  policy.repeated(at(60));
  policy.encoded({.quantizer = 19, .sharp = 19});
  EXPECT_FALSE(policy.due());
}

TEST(RefinementPolicy, waitsLongerBeforeEachPassAndStopsAfterTen) {
  RefinementPolicy policy;
  policy.changed(at(0));
  float quantizer = 51;
  policy.encoded({quantizer});
  std::vector<MonotonicTime> passes;
  while (const auto due = policy.due()) {
    passes.push_back(*due);
    ASSERT_LT(passes.size(), 20U);
    policy.repeated(*due);
    quantizer -= 2;
    policy.encoded({quantizer});
  }
  EXPECT_EQ(passes, (std::vector{at(60), at(85), at(135), at(235), at(435), at(835), at(1235), at(1635),
                                 at(2035), at(2435)}));
}

TEST(RefinementPolicy, stopsWhenTwoPassesGainNothing) {
  RefinementPolicy policy;
  policy.changed(at(0));
  policy.encoded({40});
  policy.repeated(at(60));
  policy.encoded({39.5F});
  ASSERT_EQ(policy.due(), at(85)) << "the rate may have left nothing for the first";
  policy.repeated(at(85));
  policy.encoded({39.5F});
  EXPECT_FALSE(policy.due());
  policy.changed(at(500));
  policy.encoded({40});
  EXPECT_EQ(policy.due(), at(560)) << "a new change begins afresh";
}

TEST(RefinementPolicy, doesNotTreatSlowMotionAsAQuietScreen) {
  RefinementPolicy policy;
  for (int time = 0; time <= 1'000; time += 100) {
    policy.changed(at(time));
    policy.encoded({40});
  }
  EXPECT_EQ(policy.due(), at(1'150)) << "half an interval after the change that did not come";
  policy.changed(at(1'200));
  policy.encoded({40});
  EXPECT_EQ(policy.due(), at(1'260)) << "a change by itself is sharp soon";
}

TEST(RefinementPolicy, waitsForMoreThanAFrameInterval) {
  RefinementPolicy policy;
  policy.setFrameInterval(std::chrono::milliseconds(200));
  policy.changed(at(0));
  policy.encoded({40});
  EXPECT_EQ(policy.due(), at(300));
}

TEST(RefinementPolicy, ignoresChangesBeforeTheRequestForThem) {
  RefinementPolicy policy;
  policy.changed(at(0));
  policy.encoded({40});
  policy.asked(at(500));
  EXPECT_EQ(policy.due(), at(525));
}

}  // namespace
}  // namespace quorl
