// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Display/OriginalFrames.h>

#include <gtest/gtest.h>

namespace quorl {
namespace {

const PointRect first{{100, 50}, {640, 480}};
const PointRect second{{120, 32}, {1200, 800}};

TEST(OriginalFrames, keepTheFrameBeforeTheFirstOfSeveralStreams) {
  OriginalFrames frames;
  const auto one = frames.of(7);
  const auto other = frames.of(7);
  EXPECT_EQ(one->hold(first), first);
  EXPECT_EQ(other->hold(second), first);
  EXPECT_FALSE(one->release());
  EXPECT_TRUE(other->release());
  EXPECT_EQ(one->hold(second), second) << "the last release ends the record";
}

TEST(OriginalFrames, areApartForEachWindow) {
  OriginalFrames frames;
  const auto one = frames.of(7);
  const auto other = frames.of(8);
  EXPECT_EQ(one->hold(first), first);
  EXPECT_EQ(other->hold(second), second);
  const auto lock = one->lock();
  EXPECT_TRUE(other->lock().owns_lock());
}

TEST(OriginalFrames, forgetAWindowThatNoStreamUses) {
  OriginalFrames frames;
  frames.of(7)->hold(first);
  EXPECT_EQ(frames.of(7)->hold(second), second);
}

}  // namespace
}  // namespace quorl
