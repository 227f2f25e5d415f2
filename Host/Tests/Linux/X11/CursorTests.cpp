// SPDX-License-Identifier: GPL-3.0-or-later
// The pointer that captures draw into their pictures.
#include "CaptureFixture.h"

namespace quorl::test {
namespace {

class CursorCapture : public CaptureFixture {};

TEST_F(CursorCapture, drawsTheCursorOnlyIfRequested) {
  client.setBlockCursor(16, red);
  client.movePointer(300, 200);
  Deliveries without;
  const auto with = harness.start(DisplayFilter{display()}, settingsOf(640, 480, true), deliveries);
  const auto plain = harness.start(DisplayFilter{display()}, settingsOf(640, 480, false), without);
  EXPECT_TRUE(deliveries.waitForColor(304, 204, red));
  EXPECT_LE(distance(colorAt(*without.all().back().image, 304, 204), 0), 4);
}

TEST_F(CursorCapture, followsThePointerAndRestoresThePixelsUnderIt) {
  client.fillRoot({0, 0, 640, 480}, green);
  client.setBlockCursor(16, red);
  client.movePointer(300, 200);
  const auto stream = harness.start(DisplayFilter{display()}, settingsOf(640, 480, true), deliveries);
  ASSERT_TRUE(deliveries.waitForColor(304, 204, red));
  const std::size_t seen = deliveries.count();
  client.movePointer(100, 60);
  const auto moved = deliveries.waitForColor(104, 64, red, seen);
  ASSERT_TRUE(moved);
  EXPECT_LE(distance(colorAt(*moved->image, 304, 204), green), 4);
  EXPECT_LE(moved->changed.size(), 2U);
}

TEST_F(CursorCapture, clearsThePointerOfADisplayThatItLeftBetweenTwoPictures) {
  client.setMonitor("LEFT", {0, 0, 320, 480});
  client.setMonitor("RIGHT", {320, 0, 320, 480});
  const auto displays = harness.content().displays;
  ASSERT_EQ(displays.size(), 2U);
  client.setBlockCursor(16, red);
  client.movePointer(400, 200);
  auto slow = settingsOf(320, 480, true);
  slow.minimumFrameInterval = std::chrono::seconds(1);
  Deliveries rightPictures;
  const auto right = harness.start(DisplayFilter{displays[1].displayID}, slow, rightPictures);
  const auto left =
      harness.start(DisplayFilter{displays[0].displayID}, settingsOf(320, 480, true), deliveries);
  ASSERT_TRUE(rightPictures.waitForColor(84, 204, red));
  // The next picture of the right display is due in a second; the left display shows the pointer before.
  client.movePointer(100, 100);
  ASSERT_TRUE(deliveries.waitForColor(104, 104, red));
  EXPECT_TRUE(rightPictures.waitForColor(84, 204, 0));
}

TEST_F(CursorCapture, followsAWarpOnAStillScreen) {
  client.setBlockCursor(16, red);
  client.movePointer(300, 200);
  const auto stream = harness.start(DisplayFilter{display()}, settingsOf(640, 480, true), deliveries);
  ASSERT_TRUE(deliveries.waitForColor(304, 204, red));
  const std::size_t seen = deliveries.count();
  client.warpPointer(100, 60);
  const auto warped = deliveries.waitForColor(104, 64, red, seen);
  ASSERT_TRUE(warped);
  EXPECT_LE(distance(colorAt(*warped->image, 304, 204), 0), 4);
}

TEST_F(CursorCapture, showsAWarpInsideAWindowThatTakesMotionInTheNextPicture) {
  client.setBlockCursor(16, red);
  client.movePointer(300, 200);
  const auto window = client.makeWindow({0, 0, 640, 480});
  client.takeMotion(window);
  const auto stream = harness.start(DisplayFilter{display()}, settingsOf(640, 480, true), deliveries);
  ASSERT_TRUE(deliveries.waitForColor(304, 204, red));
  const std::size_t seen = deliveries.count();
  client.warpPointer(100, 60);
  client.fill(window, {500, 400, 20, 20}, blue);
  const auto changed = deliveries.waitForColor(510, 410, blue, seen);
  ASSERT_TRUE(changed);
  EXPECT_LE(distance(colorAt(*changed->image, 104, 64), red), 4);
  EXPECT_LE(distance(colorAt(*changed->image, 304, 204), 0), 4);
}

}  // namespace
}  // namespace quorl::test
