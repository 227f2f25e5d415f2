// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostMac/Windows/AppKitGeometry.h>

#include <gtest/gtest.h>

namespace quorl {
namespace {

const std::vector<PointRect> screens{
    {{1440, 100}, {1000, 700}},  // right of the primary one, its lower edge 100 points higher
    {{0, 0}, {1440, 900}},
    {{0, 900}, {1440, 600}},  // above
};

TEST(AppKitGeometry, turnsThePrimaryScreenUpsideDown) {
  EXPECT_EQ(rectFromAppKit({{0, 0}, {1440, 900}}, screens), (PointRect{{0, 0}, {1440, 900}}));
  EXPECT_EQ(rectFromAppKit({{0, 70}, {1440, 805}}, screens), (PointRect{{0, 25}, {1440, 805}}))
      << "a menu bar of 25 points and a dock of 70";
  EXPECT_EQ(rectFromAppKit({{10, 20}, {300, 200}}, screens), (PointRect{{10, 680}, {300, 200}}));
}

TEST(AppKitGeometry, countsOtherScreensFromThePrimaryOne) {
  EXPECT_EQ(rectFromAppKit(screens[0], screens), (PointRect{{1440, 100}, {1000, 700}}));
  EXPECT_EQ(rectFromAppKit(screens[2], screens), (PointRect{{0, -600}, {1440, 600}}));
}

TEST(AppKitGeometry, takesTheRectangleForThePrimaryScreenWithoutOne) {
  EXPECT_EQ(rectFromAppKit({{10, 20}, {300, 200}}, {}), (PointRect{{10, 0}, {300, 200}}));
  EXPECT_EQ(rectFromAppKit({{10, 20}, {300, 200}}, {{{5, 5}, {100, 100}}}), (PointRect{{10, 0}, {300, 200}}));
}

}  // namespace
}  // namespace quorl
