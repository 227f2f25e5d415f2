// SPDX-License-Identifier: GPL-3.0-or-later
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QuorlHostCore/Input/HeldInput.h>

namespace quorl::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(HeldInput, releasesWhatIsStillDownAtTheLastPlaceOnce) {
  HeldInput held;
  held.pointer(PointerPhase::down, PointerButton::left, {1, 1}, 5);
  held.pointer(PointerPhase::down, PointerButton::right, {2, 2}, 5);
  held.pointer(PointerPhase::up, PointerButton::left, {3, 3}, 5);
  held.pointer(PointerPhase::moved, PointerButton::left, {4, 4}, 6);
  held.key(56, true, {});
  held.key(56, true, {});
  held.key(7, true, {});
  held.key(7, false, {});
  const auto release = held.releaseAll();
  EXPECT_THAT(release.buttons, ElementsAre(PointerButton::right));
  EXPECT_THAT(release.keyCodes, ElementsAre(56));
  EXPECT_EQ(release.location, (PointXY{4, 4}));
  EXPECT_TRUE(held.isEmpty());
  EXPECT_THAT(held.releaseAll().buttons, IsEmpty());
}

TEST(HeldInput, countsACapsLockOfTheLastKeyAsHeld) {
  HeldInput held;
  held.key(0, true, WireModifiers::capsLock);
  held.key(0, false, {});
  EXPECT_FALSE(held.isEmpty());
  EXPECT_THAT(held.releaseAll().keyCodes, ElementsAre(0x39));
  EXPECT_TRUE(held.isEmpty());
  held.key(0, true, WireModifiers::capsLock);
  held.key(0, true, WireModifiers::shift);
  held.key(0, false, WireModifiers::shift);
  EXPECT_TRUE(held.isEmpty());
}

TEST(HeldInput, releasesTheButtonsOfOneStreamOnly) {
  HeldInput held;
  held.pointer(PointerPhase::down, PointerButton::left, {1, 1}, 5);
  held.pointer(PointerPhase::down, PointerButton::right, {2, 2}, 6);
  held.key(7, true, {});
  const auto release = held.releaseButtons(5);
  EXPECT_THAT(release.buttons, ElementsAre(PointerButton::left));
  EXPECT_THAT(release.keyCodes, IsEmpty());
  EXPECT_EQ(release.location, (PointXY{2, 2}));
  EXPECT_THAT(held.releaseAll().buttons, ElementsAre(PointerButton::right));
}

}  // namespace
}  // namespace quorl::test
