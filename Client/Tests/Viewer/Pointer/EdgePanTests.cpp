// SPDX-License-Identifier: GPL-3.0-or-later
#include <limits>

#include <gtest/gtest.h>

#include <quorl-viewer/Pointer/EdgePan.h>

namespace quorl::viewer {
namespace {

using namespace std::chrono_literals;

constexpr PointSize view{800, 600};

TEST(EdgePan, restsAwayFromTheEdges) {
  for (const PointXY position : {PointXY{400, 300}, {16, 16}, {784, 584}})
    EXPECT_EQ(EdgePan::speedAt(position, view), PointXY{}) << position.x;
}

TEST(EdgePan, movesThePictureAwayFromTheEdgeThatThePointerIsAt) {
  EXPECT_GT(EdgePan::speedAt({1, 300}, view).x, 0) << "what is to the left comes into view";
  EXPECT_LT(EdgePan::speedAt({799, 300}, view).x, 0);
  EXPECT_EQ(EdgePan::speedAt({799, 300}, view).y, 0);
  const auto corner = EdgePan::speedAt({799, 1}, view);
  EXPECT_LT(corner.x, 0);
  EXPECT_GT(corner.y, 0);
}

TEST(EdgePan, isFastestAtTheEdgeAndOutside) {
  const double inner = EdgePan::speedAt({15, 300}, view).x;
  const double outer = EdgePan::speedAt({2, 300}, view).x;
  EXPECT_GE(inner, EdgePan::slowest);
  EXPECT_LT(inner, outer);
  EXPECT_EQ(EdgePan::speedAt({0, 300}, view).x, EdgePan::fastest);
  EXPECT_EQ(EdgePan::speedAt({-500, 300}, view).x, EdgePan::fastest);
}

TEST(EdgePan, goesAsFarInManyStepsAsTheTimeSays) {
  EdgePan pan;
  int moved = 0;
  for (int step = 0; step < 1'000; ++step) moved += pan.step({-1, 300}, view, 1.25, 1ms).dx;
  EXPECT_NEAR(moved, EdgePan::fastest * 1.25, 1);
}

TEST(EdgePan, doesNotJumpAfterAPause) {
  EdgePan pan;
  EXPECT_EQ(pan.step({-1, 300}, view, 1, 10s).dx, static_cast<int>(EdgePan::fastest * EdgePan::longestPause));
  EXPECT_EQ(pan.step({-1, 300}, view, 1, -1s), EdgePan::Motion{});
}

TEST(EdgePan, restsInAViewWithoutRoomAndAtAPositionThatIsNotANumber) {
  EXPECT_EQ(EdgePan::speedAt({5, 5}, {30, 30}), PointXY{});
  const double none = std::numeric_limits<double>::quiet_NaN();
  EXPECT_EQ(EdgePan::speedAt({none, none}, view), PointXY{});
}

}  // namespace
}  // namespace quorl::viewer
