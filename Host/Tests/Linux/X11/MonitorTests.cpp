// SPDX-License-Identifier: GPL-3.0-or-later
// Captures of a screen with several monitors, which are added,
// moved, resized and removed.
#include <algorithm>

#include "CaptureFixture.h"

namespace quorl::test {
namespace {

class Monitors : public CaptureFixture {};

TEST_F(Monitors, capturesEachOfTwoMonitorsAlone) {
  server.run({"xrandr", "--setmonitor", "LEFT", "320/100x480/100+0+0", "screen"});
  server.run({"xrandr", "--setmonitor", "RIGHT", "320/100x480/100+320+0", "none"});
  const auto displays = harness.content().displays;
  ASSERT_EQ(displays.size(), 2U);
  EXPECT_EQ(displays[0].name, "LEFT");
  EXPECT_TRUE(displays[0].isMain);
  EXPECT_FALSE(displays[1].isMain);
  EXPECT_EQ(displays[1].bounds, (PointRect{{320, 0}, {320, 480}}));
  EXPECT_NE(displays[0].displayID, displays[1].displayID);
  Deliveries left;
  const auto rightStream =
      harness.start(DisplayFilter{displays[1].displayID}, settingsOf(320, 480), deliveries);
  const auto leftStream = harness.start(DisplayFilter{displays[0].displayID}, settingsOf(320, 480), left);
  client.fillRoot({400, 100, 20, 20}, red);
  const auto right = deliveries.waitForColor(90, 110, red, 1);
  ASSERT_TRUE(right);
  EXPECT_EQ(right->changed, (std::vector<PixelRect>{{80, 100, 20, 20}}));
  EXPECT_EQ(left.count(), 1U);
}

TEST_F(Monitors, followsAMonitorThatMovesAndReportsItsPlace) {
  client.setMonitor("LEFT", {0, 0, 320, 480});
  client.setMonitor("RIGHT", {320, 0, 320, 480});
  const auto displays = harness.content().displays;
  ASSERT_EQ(displays.size(), 2U);
  client.fillRoot({0, 0, 320, 480}, red);
  const auto stream = harness.start(DisplayFilter{displays[1].displayID}, settingsOf(320, 480), deliveries);
  EXPECT_TRUE(deliveries.waitForPlace({{320, 0}, {320, 480}}));
  server.run({"xrandr", "--delmonitor", "LEFT"});
  client.setMonitor("RIGHT", {0, 0, 320, 480});
  EXPECT_TRUE(deliveries.waitForPlace({{0, 0}, {320, 480}}));
  EXPECT_TRUE(deliveries.waitForColor(10, 10, red, 1));
}

TEST_F(Monitors, continuesAfterItsMonitorIsResized) {
  client.setMonitor("ONLY", {0, 0, 320, 480});
  const auto stream = harness.start(DisplayFilter{display()}, settingsOf(320, 480), deliveries);
  client.fillRoot({0, 0, 640, 480}, red);
  client.fillRoot({320, 0, 320, 480}, blue);
  client.setMonitor("ONLY", {0, 0, 640, 480});
  EXPECT_TRUE(deliveries.waitForPlace({{0, 0}, {640, 480}}));
  const auto picture = deliveries.waitForColor(200, 100, blue, 1);
  ASSERT_TRUE(picture) << "scaled until the settings follow";
  EXPECT_EQ(picture->image->size, (PixelSize{320, 480}));
  EXPECT_LE(distance(colorAt(*picture->image, 100, 100), red), 4);
}

TEST_F(Monitors, countsGlobalPointsFromTheCornerOfTheMainDisplay) {
  client.setMonitor("LEFT", {0, 0, 320, 480});
  const auto window = client.makeWindow({400, 30, 100, 80}, TestClient::Managed::yes, "Notes");
  const auto frame = [&] {
    for (const auto& each : harness.content().windows)
      if (each.windowID == window) return each.frame;
    return PointRect{};
  };
  EXPECT_EQ(frame(), (PointRect{{400, 30}, {100, 80}}));
  const auto left = harness.start(DisplayFilter{display()}, settingsOf(320, 480), deliveries);
  client.setMonitor("RIGHT", {320, 0, 320, 480}, true);
  const auto displays = harness.content().displays;
  ASSERT_EQ(displays.size(), 2U);
  for (const auto& each : displays) {
    EXPECT_EQ(each.isMain, each.name == "RIGHT");
    EXPECT_EQ(each.bounds.origin, (each.name == "RIGHT" ? PointXY{0, 0} : PointXY{-320, 0}));
  }
  EXPECT_EQ(frame(), (PointRect{{80, 30}, {100, 80}}));
  EXPECT_TRUE(deliveries.waitForPlace({{-320, 0}, {320, 480}})) << "it moved without a change of its own";
}

TEST_F(Monitors, endsTheStreamOfAMonitorThatIsRemoved) {
  server.run({"xrandr", "--setmonitor", "LEFT", "320/100x480/100+0+0", "screen"});
  server.run({"xrandr", "--setmonitor", "RIGHT", "320/100x480/100+320+0", "none"});
  const auto displays = harness.content().displays;
  ASSERT_EQ(displays.size(), 2U);
  const auto stream = harness.start(DisplayFilter{displays[1].displayID}, settingsOf(320, 480), deliveries);
  server.run({"xrandr", "--delmonitor", "RIGHT"});
  const auto error = deliveries.waitForStop();
  ASSERT_TRUE(error);
  EXPECT_EQ(error->description, "the display was removed");
}

TEST_F(Monitors, keepsTheStreamOfAMonitorThatIsBackAtOnce) {
  client.setMonitor("LEFT", {0, 0, 320, 480});
  client.setMonitor("RIGHT", {320, 0, 320, 480});
  const auto displays = harness.content().displays;
  const auto right = std::ranges::find(displays, "RIGHT", &ShareableDisplay::name);
  ASSERT_NE(right, displays.end());
  const auto stream = harness.start(DisplayFilter{right->displayID}, settingsOf(320, 480), deliveries);
  server.run({"xrandr", "--delmonitor", "RIGHT"});
  client.setMonitor("RIGHT", {280, 0, 320, 480});
  EXPECT_TRUE(deliveries.waitForPlace({{280, 0}, {320, 480}}));
  client.fillRoot({300, 0, 40, 40}, green);
  EXPECT_TRUE(deliveries.waitForColor(30, 10, green, 1));
}

}  // namespace
}  // namespace quorl::test
