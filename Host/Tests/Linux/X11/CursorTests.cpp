// SPDX-License-Identifier: GPL-3.0-or-later
// The pointer that captures draw into their pictures.
#include "CaptureFixture.h"

namespace quorl::test {
namespace {

class CursorCapture : public CaptureFixture {};

TEST_F(CursorCapture, drawsTheCursorOnlyWhereAskedFor) {
  client.setBlockCursor(16, red);
  client.movePointer(300, 200);
  Deliveries without;
  const auto with = harness.start(DisplayFilter{display()}, settingsOf(640, 480, true), deliveries);
  const auto plain = harness.start(DisplayFilter{display()}, settingsOf(640, 480, false), without);
  EXPECT_TRUE(deliveries.waitForColor(304, 204, red));
  EXPECT_LE(distance(colorAt(*without.all().back().image, 304, 204), 0), 4);
}

TEST_F(CursorCapture, followsThePointerAndPutsBackWhatItCovered) {
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

}  // namespace
}  // namespace quorl::test
