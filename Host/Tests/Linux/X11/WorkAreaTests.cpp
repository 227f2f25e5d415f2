// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <QuorlHostLinux/X11/Displays/WorkAreas.h>

namespace quorl::test {
namespace {

constexpr PixelSize root{1600, 900};
constexpr PixelRect left{0, 0, 800, 900};
constexpr PixelRect right{800, 0, 800, 900};

struct Case {
  const char* description;
  std::vector<std::uint32_t> partial;
  PixelRect onLeft;
  PixelRect onRight;
};

TEST(FreeArea, leavesOutTheStrutsThatEndOnTheMonitor) {
  const std::vector<Case> cases{
      {"no strut", {}, left, right},
      {"a panel on top of the left monitor",
       {0, 0, 24, 0, 0, 0, 0, 0, 0, 799, 0, 0},
       {0, 24, 800, 876},
       right},
      {"a panel on top of the right monitor",
       {0, 0, 24, 0, 0, 0, 0, 0, 800, 1599, 0, 0},
       left,
       {800, 24, 800, 876}},
      {"a panel on top of both",
       {0, 0, 24, 0, 0, 0, 0, 0, 0, 1599, 0, 0},
       {0, 24, 800, 876},
       {800, 24, 800, 876}},
      {"a dock at the bottom", {0, 0, 0, 60, 0, 0, 0, 0, 0, 0, 100, 700}, {0, 0, 800, 840}, right},
      {"a panel at the left edge of the left monitor",
       {50, 0, 0, 0, 0, 899, 0, 0, 0, 0, 0, 0},
       {50, 0, 750, 900},
       right},
      {"a panel at the left edge of the right monitor",
       {850, 0, 0, 0, 0, 899, 0, 0, 0, 0, 0, 0},
       left,
       {850, 0, 750, 900}},
      {"a panel at the right edge of the left monitor",
       {0, 850, 0, 0, 0, 0, 0, 899, 0, 0, 0, 0},
       {0, 0, 750, 900},
       right},
      {"a strut as wide as a monitor", {800, 0, 0, 0, 0, 899, 0, 0, 0, 0, 0, 0}, left, right},
      {"a strut that leaves too little", {0, 0, 801, 0, 0, 0, 0, 0, 0, 1599, 0, 0}, left, right},
      {"a strut beyond the screen", {0, 0, 0xFFFFFFFF, 0, 0, 0, 0, 0, 0, 0xFFFFFFFF, 0, 0}, left, right},
      {"a range that begins on the last column",
       {0, 0, 24, 0, 0, 0, 0, 0, 1599, 1600, 0, 0},
       left,
       {800, 24, 800, 876}},
  };
  for (const auto& each : cases) {
    const auto struts = strutsOf(each.partial, {});
    EXPECT_EQ(freeArea(left, root, struts), each.onLeft) << each.description;
    EXPECT_EQ(freeArea(right, root, struts), each.onRight) << each.description;
  }
}

TEST(FreeArea, countsAllStruts) {
  auto struts = strutsOf({0, 0, 24, 0, 0, 0, 0, 0, 0, 1599, 0, 0}, {});
  for (const auto& strut : strutsOf({60, 0, 30, 40, 0, 899, 0, 0, 0, 799, 0, 799}, {}))
    struts.push_back(strut);
  EXPECT_EQ(freeArea(left, root, struts), (PixelRect{60, 30, 740, 830}));
  EXPECT_EQ(freeArea(right, root, struts), (PixelRect{800, 24, 800, 876}));
}

TEST(FreeArea, keepsThePanelOfAMonitorThatAnotherOnesStrutCovers) {
  auto struts = strutsOf({50, 0, 0, 0, 0, 899, 0, 0, 0, 0, 0, 0}, {});
  for (const auto& strut : strutsOf({850, 0, 0, 0, 0, 899, 0, 0, 0, 0, 0, 0}, {})) struts.push_back(strut);
  EXPECT_EQ(freeArea(left, root, struts), (PixelRect{50, 0, 750, 900}));
  EXPECT_EQ(freeArea(right, root, struts), (PixelRect{850, 0, 750, 900}));
}

TEST(FreeArea, countsAStrutWithoutARangeOnTheWholeEdge) {
  const auto struts = strutsOf({}, {0, 0, 24, 0});
  EXPECT_EQ(freeArea(left, root, struts), (PixelRect{0, 24, 800, 876}));
  EXPECT_EQ(freeArea(right, root, struts), (PixelRect{800, 24, 800, 876}));
}

TEST(FreeArea, isTheWholeOfATinyMonitor) {
  const PixelRect tiny{0, 0, 90, 50};
  EXPECT_EQ(freeArea(tiny, {90, 50}, strutsOf({}, {0, 0, 24, 0})), tiny);
}

TEST(Struts, ofAWrongLengthAreIgnored) {
  EXPECT_TRUE(strutsOf({1, 2, 3}, {}).empty());
  EXPECT_TRUE(strutsOf({}, {1, 2, 3, 4, 5}).empty());
  EXPECT_EQ(strutsOf({1, 2, 3}, {0, 0, 24, 0}).size(), 1U);
  EXPECT_TRUE(strutsOf(std::vector<std::uint32_t>(12), {0, 0, 24, 0}).empty()) << "the range counts";
}

}  // namespace
}  // namespace quorl::test
