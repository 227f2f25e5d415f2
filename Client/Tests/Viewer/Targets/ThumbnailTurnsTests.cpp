// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Targets/ThumbnailTurns.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quorl::viewer {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

StreamTarget window(std::uint32_t id) {
  return streamTarget::Window{id};
}
std::vector<StreamTarget> windows(std::uint32_t first, std::uint32_t last) {
  std::vector<StreamTarget> result;
  for (auto id = first; id <= last; ++id) result.push_back(window(id));
  return result;
}

TEST(ThumbnailTurnsTest, aShortListHasAllItsStreamsAtOnceAndKeepsThem) {
  ThumbnailTurns turns;
  EXPECT_EQ(turns.show(windows(1, 3)).starts, windows(1, 3));
  EXPECT_FALSE(turns.isAnyWaiting());
  EXPECT_THAT(turns.turn().stops, IsEmpty());
  const auto scrolled = turns.show(windows(2, 4));
  EXPECT_THAT(scrolled.stops, ElementsAre(window(1)));
  EXPECT_THAT(scrolled.starts, ElementsAre(window(4)));
}

TEST(ThumbnailTurnsTest, aLongListTakesTurns) {
  ThumbnailTurns turns;
  EXPECT_EQ(turns.show(windows(1, 8)).starts, windows(1, 6));
  EXPECT_TRUE(turns.isAnyWaiting());
  auto next = turns.turn();
  EXPECT_THAT(next.stops, ElementsAre(window(1)));
  EXPECT_THAT(next.starts, ElementsAre(window(7)));
  turns.turn();
  next = turns.turn();
  EXPECT_THAT(next.stops, ElementsAre(window(3)));
  EXPECT_THAT(next.starts, ElementsAre(window(1)));
}

TEST(ThumbnailTurnsTest, aWindowWithoutPicturesGivesItsPlaceAndIsNotAskedAgain) {
  ThumbnailTurns turns;
  turns.show(windows(1, 7));
  EXPECT_THAT(turns.failed(window(2)).starts, ElementsAre(window(7)));
  EXPECT_THAT(turns.show(windows(1, 7)).starts, IsEmpty());
  EXPECT_FALSE(turns.isAnyWaiting());
  turns.show(windows(3, 7));
  EXPECT_THAT(turns.show(windows(2, 7)).starts, ElementsAre(window(2))) << "after it was out of view";
}

TEST(ThumbnailTurnsTest, aClosedListHasNone) {
  ThumbnailTurns turns;
  turns.show(windows(1, 8));
  const auto closed = turns.show({});
  EXPECT_EQ(closed.stops, windows(1, 6));
  EXPECT_THAT(closed.starts, IsEmpty());
  EXPECT_FALSE(turns.isAnyWaiting());
}

}  // namespace
}  // namespace quorl::viewer
