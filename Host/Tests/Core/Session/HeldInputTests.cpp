// SPDX-License-Identifier: GPL-3.0-or-later
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QuorlHostCore/Session/HeldInput.h>

namespace quorl::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(HeldInput, givesWhatIsStillDownAtTheLastPlaceAndThenNothing) {
  HeldInput held;
  held.pointer(PointerPhase::down, PointerButton::left, {1, 1});
  held.pointer(PointerPhase::down, PointerButton::right, {2, 2});
  held.pointer(PointerPhase::up, PointerButton::left, {3, 3});
  held.pointer(PointerPhase::moved, PointerButton::left, {4, 4});
  held.key(56, true);
  held.key(56, true);
  held.key(7, true);
  held.key(7, false);
  const auto release = held.releaseAll();
  EXPECT_THAT(release.buttons, ElementsAre(PointerButton::right));
  EXPECT_THAT(release.keyCodes, ElementsAre(56));
  EXPECT_EQ(release.location, (PointXY{4, 4}));
  EXPECT_TRUE(held.isEmpty());
  EXPECT_THAT(held.releaseAll().buttons, IsEmpty());
}

}  // namespace
}  // namespace quorl::test
