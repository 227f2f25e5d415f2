// SPDX-License-Identifier: GPL-3.0-or-later
#include <limits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QuorlHostCore/HostState/DisplayInfos.h>
#include <Support/FakeDisplayCatalog.h>

namespace quorl::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Mode = DisplayFacts::Mode;

class DisplayInfosTest : public testing::Test {
 protected:
  DisplayInfo onlyInfo(std::uint32_t displayID, DisplayFacts facts) {
    catalog_.known[displayID] = std::move(facts);
    const auto infos = displayInfos({{.displayID = displayID}}, &catalog_);
    EXPECT_EQ(infos.size(), 1U);
    return infos.empty() ? DisplayInfo{} : infos[0];
  }
  std::vector<std::uint32_t> listed(const std::vector<ShareableDisplay>& shareable) {
    std::vector<std::uint32_t> ids;
    for (const DisplayInfo& info : displayInfos(shareable, &catalog_)) ids.push_back(info.id);
    return ids;
  }

  FakeDisplayCatalog catalog_;
};

TEST_F(DisplayInfosTest, takesPixelsAndScaleFromTheMode) {
  const DisplayInfo info =
      onlyInfo(7, {.bounds = {{0, 0}, {1440, 900}},
                   .mode = Mode{.pixelWidth = 2880, .pixelHeight = 1800, .pointWidth = 1440},
                   .name = "Studio",
                   .isMain = true});
  EXPECT_EQ(info, (DisplayInfo{7, "Studio", 2880, 1800, 2.0, true}));
}

TEST_F(DisplayInfosTest, takesTheScaleAs1WhenTheModeHasNoWidthInPoints) {
  const DisplayInfo info =
      onlyInfo(7, {.mode = Mode{.pixelWidth = 800, .pixelHeight = 600, .pointWidth = 0}});
  EXPECT_EQ(info.pixelWidth, 800);
  EXPECT_EQ(info.scale, 1.0);
}

TEST_F(DisplayInfosTest, takesTheBoundsAsPixelsWithoutAMode) {
  const DisplayInfo info = onlyInfo(7, {.bounds = {{-1280, 0}, {1280, 1024}}, .mode = {}});
  EXPECT_EQ(info.pixelWidth, 1280);
  EXPECT_EQ(info.pixelHeight, 1024);
  EXPECT_EQ(info.scale, 1.0);
}

TEST_F(DisplayInfosTest, namesABuiltInPanelWithoutAScreenName) {
  EXPECT_EQ(onlyInfo(5, {.isBuiltIn = true}).name, "Built-in Display");
}

TEST_F(DisplayInfosTest, namesAnExternalDisplayWithoutAScreenNameByItsNumber) {
  EXPECT_EQ(onlyInfo(5, {.isBuiltIn = false}).name, "Display 5");
  EXPECT_EQ(onlyInfo(4'294'967'295, {}).name, "Display 4294967295");
}

TEST_F(DisplayInfosTest, prefersTheScreenNameOnABuiltInPanel) {
  EXPECT_EQ(onlyInfo(5, {.name = "Panel", .isBuiltIn = true}).name, "Panel");
}

TEST_F(DisplayInfosTest, listsTheActiveDisplaysWithoutContent) {
  catalog_.active = {2, 3};
  catalog_.online = {1, 2, 3};
  catalog_.known = {{1, {}}, {2, {}}, {3, {}}};
  EXPECT_THAT(listed({}), ElementsAre(2, 3));
  EXPECT_EQ(catalog_.lastLimit, 16U);
}

TEST_F(DisplayInfosTest, fallsBackToTheConnectedDisplaysWithNoContentAndAnUnpluggedMainDisplay) {
  catalog_.online = {4, 5};
  catalog_.known = {{4, {}}, {5, {}}};
  EXPECT_THAT(listed({}), ElementsAre(4, 5));
}

TEST_F(DisplayInfosTest, listsNoDisplayWhereThereIsNone) {
  EXPECT_THAT(listed({}), IsEmpty());
  EXPECT_THAT(displayInfos({}, nullptr), IsEmpty());
}

TEST_F(DisplayInfosTest, ignoresTheCataloguesListsWhenThereIsContent) {
  catalog_.active = {2, 3};
  catalog_.known = {{2, {}}, {3, {}}};
  EXPECT_THAT(listed({{.displayID = 3}}), ElementsAre(3));
}

TEST_F(DisplayInfosTest, leavesOutADisplayOfTheListsThatIsGone) {
  catalog_.active = {2, 3};
  catalog_.known = {{3, {}}};
  EXPECT_THAT(listed({}), ElementsAre(3));
}

TEST_F(DisplayInfosTest, listsAtMost16DisplaysFromTheCatalogue) {
  for (std::uint32_t displayID = 1; displayID <= 20; ++displayID) {
    catalog_.active.push_back(displayID);
    catalog_.known[displayID] = {};
  }
  EXPECT_EQ(listed({}).size(), 16U);
}

TEST_F(DisplayInfosTest, takesADisplayThatTheCatalogueDoesNotKnowFromTheContent) {
  const std::vector<ShareableDisplay> content{
      {.displayID = 5, .name = "", .bounds = {{0, 0}, {1280, 800}}, .pixelScale = 2, .isMain = true}};
  const std::vector<DisplayInfo> expected{{5, "Display 5", 2560, 1600, 2.0, true}};
  EXPECT_EQ(displayInfos(content, nullptr), expected);
  EXPECT_EQ(displayInfos(content, &catalog_), expected);
}

TEST_F(DisplayInfosTest, takesTheContentsNameWhenTheCatalogueHasNone) {
  catalog_.known[5] = {.bounds = {{0, 0}, {640, 480}}, .mode = {}};
  EXPECT_EQ(displayInfos({{.displayID = 5, .name = "LEFT"}}, &catalog_).at(0).name, "LEFT");
}

TEST_F(DisplayInfosTest, reportsAbsurdSizesAs0) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  constexpr double nan = std::numeric_limits<double>::quiet_NaN();
  const DisplayInfo info = onlyInfo(7, {.bounds = {{0, 0}, {-1, infinity}}, .mode = {}});
  EXPECT_EQ(info.pixelWidth, 0);
  EXPECT_EQ(info.pixelHeight, 0);
  const auto fromContent =
      displayInfos({{.displayID = 8, .bounds = {{0, 0}, {nan, 800}}, .pixelScale = nan}}, nullptr).at(0);
  EXPECT_EQ(fromContent.pixelWidth, 0);
  EXPECT_EQ(fromContent.pixelHeight, 800);
  EXPECT_EQ(fromContent.scale, 1.0);
}

}  // namespace
}  // namespace quorl::test
