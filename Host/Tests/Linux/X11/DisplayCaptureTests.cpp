// SPDX-License-Identifier: GPL-3.0-or-later
#include <future>

#include <Support/Eventually.h>

#include "CaptureFixture.h"

namespace quorl::test {
namespace {

/// The largest difference of luma between two images. Four pixels share a chroma sample, so chroma is not
/// compared.
int worstLumaDifference(const PictureBuffer& picture, const std::vector<std::uint32_t>& screen) {
  int worst = 0;
  for (int y = 0; y < picture.size.height; ++y) {
    for (int x = 0; x < picture.size.width; ++x) {
      const std::uint32_t pixel =
          screen[static_cast<std::size_t>(y) * static_cast<std::size_t>(picture.size.width) +
                 static_cast<std::size_t>(x)];
      const double luma = 16 + 0.256788 * ((pixel >> 16) & 0xFF) + 0.504129 * ((pixel >> 8) & 0xFF) +
                          0.097906 * (pixel & 0xFF);
      const int seen =
          picture.luma[static_cast<std::size_t>(y) * picture.lumaStride + static_cast<std::size_t>(x)];
      worst = std::max(worst, std::abs(seen - static_cast<int>(luma + 0.5)));
    }
  }
  return worst;
}

class DisplayCapture : public CaptureFixture {};

TEST_F(DisplayCapture, listsTheOneDisplayAsTheMainOne) {
  const auto content = harness.content();
  ASSERT_EQ(content.displays.size(), 1U);
  EXPECT_TRUE(content.displays[0].isMain);
  EXPECT_NE(content.displays[0].displayID, 0U);
  EXPECT_EQ(content.displays[0].bounds, (PointRect{{0, 0}, {640, 480}}));
  EXPECT_EQ(content.displays[0].pixelScale, 1.0);
}

TEST_F(DisplayCapture, mergesChangesWithoutARequestIntoTheNextPicture) {
  const auto stream = harness.start(DisplayFilter{display()}, settingsOf(640, 480), deliveries);
  // The answer to the last automatic request.
  client.fillRoot({0, 0, 16, 16}, white);
  ASSERT_TRUE(deliveries.waitForColor(8, 8, white));
  deliveries.follow(nullptr);
  client.fillRoot({0, 0, 16, 16}, blue);
  ASSERT_TRUE(deliveries.waitForColor(8, 8, blue));
  const std::size_t seen = deliveries.count();
  for (int x = 32; x < 640; x += 32) {
    client.fillRoot({x, 0, 32, 32}, red);
    client.sync();
    client.fillRoot({x, 0, 32, 32}, green);
    client.sync();
  }
  stream->requestPicture();
  const auto merged = deliveries.waitForColor(630, 16, green, seen);
  ASSERT_TRUE(merged);
  EXPECT_LE(distance(colorAt(*merged->image, 40, 16), green), 4);
  EXPECT_EQ(deliveries.count(), seen + 1);
}

TEST_F(DisplayCapture, deliversTheWholeScreenFirst) {
  client.fillRoot({0, 0, 320, 480}, red);
  client.fillRoot({320, 0, 320, 480}, blue);
  const auto stream = harness.start(DisplayFilter{display()}, settingsOf(640, 480), deliveries);
  const auto first = deliveries.all().at(0);
  EXPECT_EQ(first.status, FrameStatus::complete);
  EXPECT_EQ(first.image->size, (PixelSize{640, 480}));
  EXPECT_EQ(first.changed, (std::vector<PixelRect>{{0, 0, 640, 480}}));
  EXPECT_LE(distance(colorAt(*first.image, 100, 100), red), 4);
  EXPECT_LE(distance(colorAt(*first.image, 500, 400), blue), 4);
  // BT.601 limited range: red is 82, 90, 240 within rounding.
  EXPECT_NEAR(first.image->luma[0], 82, 1);
  EXPECT_NEAR(first.image->chroma[0], 90, 1);
  EXPECT_NEAR(first.image->chroma[1], 240, 1);
}

TEST_F(DisplayCapture, showsTheSamePixelsAsAScreenshot) {
  auto eyes = server.start({"xeyes", "-geometry", "300x200+40+60"});
  auto logo = server.start({"xlogo", "-geometry", "200x220+380+200"});
  ASSERT_TRUE(eventually([&] { return harness.content().windows.size() == 2; }));
  const auto stream = harness.start(DisplayFilter{display()}, settingsOf(640, 480), deliveries);
  EXPECT_TRUE(eventually([&] {
    const auto pictures = deliveries.all();
    return worstLumaDifference(*pictures.back().image, client.read({0, 0, 640, 480})) <= 2;
  }));
}

TEST_F(DisplayCapture, deliversOnlyTheRectangleOfASmallChange) {
  const auto stream = harness.start(DisplayFilter{display()}, settingsOf(640, 480), deliveries);
  client.fillRoot({100, 200, 16, 10}, red);
  const auto second = deliveries.waitForColor(104, 204, red, 1);
  ASSERT_TRUE(second);
  EXPECT_EQ(second->changed, (std::vector<PixelRect>{{100, 200, 16, 10}}));
  EXPECT_LE(worstLumaDifference(*second->image, client.read({0, 0, 640, 480})), 2);
  EXPECT_EQ(deliveries.count(), 2U);
}

TEST_F(DisplayCapture, widensARectangleWithOddCornersToEvenOnes) {
  const auto stream = harness.start(DisplayFilter{display()}, settingsOf(640, 480), deliveries);
  client.fillRoot({101, 203, 15, 9}, green);
  const auto second = deliveries.waitForColor(106, 206, green, 1);
  ASSERT_TRUE(second);
  EXPECT_EQ(second->changed, (std::vector<PixelRect>{{100, 202, 16, 10}}));
}

TEST_F(DisplayCapture, keepsEveryPictureOfThePoolUpToDate) {
  const auto stream = harness.start(DisplayFilter{display()}, settingsOf(640, 480), deliveries);
  // More changes than the pool has pictures: each picture receives all changes it missed, not only the last.
  for (int i = 0; i < 24; ++i) {
    const std::size_t seen = deliveries.count();
    const std::uint32_t color = i % 2 == 0 ? red : blue;
    client.fillRoot({(i % 8) * 80, (i / 8) * 160, 40, 40}, color);
    const auto picture = deliveries.waitForColor((i % 8) * 80 + 4, (i / 8) * 160 + 4, color, seen);
    ASSERT_TRUE(picture) << i;
    EXPECT_LE(worstLumaDifference(*picture->image, client.read({0, 0, 640, 480})), 2) << i;
    deliveries.release();
  }
}

TEST_F(DisplayCapture, deliversNothingWhileNothingChanges) {
  const auto stream = harness.start(DisplayFilter{display()}, settingsOf(640, 480, true), deliveries);
  // On a loaded machine the capture comes to rest late.
  ASSERT_TRUE(eventually([&, before = harness.capture.captureWakeups(), quiet = 0]() mutable {
    quiet = std::exchange(before, harness.capture.captureWakeups()) == before ? quiet + 1 : 0;
    return quiet >= 20 && deliveries.count() > 0;
  }));
  const std::size_t pictures = deliveries.count();
  const auto wakeups = harness.capture.captureWakeups();
  // Time passes while another server starts and draws.
  const XServer other{{.width = 320, .height = 240}};
  TestClient elsewhere(other.display());
  elsewhere.fillRoot({0, 0, 10, 10}, red);
  EXPECT_EQ(deliveries.count(), pictures);
  EXPECT_EQ(harness.capture.captureWakeups(), wakeups);
  client.fillRoot({10, 10, 20, 20}, red);
  ASSERT_TRUE(deliveries.waitForColor(14, 14, red, pictures));
  EXPECT_EQ(deliveries.count(), pictures + 1);
}

TEST_F(DisplayCapture, mergesChangesWhileNoPictureIsFree) {
  auto settings = settingsOf(640, 480);
  settings.queueDepth = 1;
  const auto stream = harness.start(DisplayFilter{display()}, settings, deliveries);
  client.fillRoot({0, 0, 20, 20}, red);
  client.fillRoot({600, 400, 20, 20}, blue);
  client.sync();
  EXPECT_EQ(deliveries.count(), 1U);
  deliveries.release();
  const auto merged = deliveries.waitForColor(610, 410, blue, 1);
  ASSERT_TRUE(merged);
  EXPECT_LE(distance(colorAt(*merged->image, 10, 10), red), 4);
}

TEST_F(DisplayCapture, keepsTheMinimumIntervalBetweenPictures) {
  auto settings = settingsOf(640, 480);
  settings.minimumFrameInterval = std::chrono::milliseconds(40);
  settings.queueDepth = 64;
  const auto stream = harness.start(DisplayFilter{display()}, settings, deliveries);
  std::uint32_t color = 0x010203;
  const bool isEnough = eventually([&] {
    client.fillRoot({0, 0, 64, 64}, color += 0x030201);
    return deliveries.count() >= 8;
  });
  ASSERT_TRUE(isEnough);
  const auto pictures = deliveries.all();
  for (std::size_t i = 1; i < pictures.size(); ++i) {
    EXPECT_GE(pictures[i].presentationTime - pictures[i - 1].presentationTime, std::chrono::milliseconds(40));
  }
}

TEST_F(DisplayCapture, servesTwoStreamsOfOneSourceEachInItsSize) {
  Deliveries small;
  const auto large = harness.start(DisplayFilter{display()}, settingsOf(640, 480), deliveries);
  const auto scaled = harness.start(DisplayFilter{display()}, settingsOf(320, 240), small);
  client.fillRoot({200, 100, 80, 60}, red);
  const auto inLarge = deliveries.waitForColor(240, 130, red);
  const auto inSmall = small.waitForColor(120, 65, red);
  ASSERT_TRUE(inLarge);
  ASSERT_TRUE(inSmall);
  EXPECT_EQ(inLarge->image->size, (PixelSize{640, 480}));
  EXPECT_EQ(inSmall->image->size, (PixelSize{320, 240}));
  // When both may deliver, one image of the screen serves both.
  std::uint32_t color = 0;
  EXPECT_TRUE(eventually([&] {
    deliveries.release();
    small.release();
    const std::size_t seen = deliveries.count();
    client.fillRoot({200, 100, 80, 60}, color += 0x102030);
    deliveries.waitFor([](const auto&) { return true; }, seen);
    return deliveries.all().back().presentationTime == small.all().back().presentationTime;
  }));
}

TEST_F(DisplayCapture, scalesAChangeLikeTheWholePicture) {
  Deliveries whole;
  const auto stream = harness.start(DisplayFilter{display()}, settingsOf(400, 300), deliveries);
  for (int i = 0; i < 10; ++i) {
    const std::size_t seen = deliveries.count();
    client.fillRoot({i * 53, i * 41, 37, 29}, 0x204080 + static_cast<std::uint32_t>(i) * 0x0B0703);
    ASSERT_TRUE(deliveries.waitFor([](const auto&) { return true; }, seen));
    if (i < 9) deliveries.release();
  }
  const auto again = harness.start(DisplayFilter{display()}, settingsOf(400, 300), whole);
  const auto partly = deliveries.all().back();
  const auto fully = whole.all().back();
  int worst = 0;
  for (std::size_t y = 0; y < 300; ++y) {
    for (std::size_t x = 0; x < 400; ++x) {
      worst = std::max(worst, std::abs(partly.image->luma[y * partly.image->lumaStride + x] -
                                       fully.image->luma[y * fully.image->lumaStride + x]));
    }
  }
  EXPECT_LE(worst, 1);
}

TEST_F(DisplayCapture, scalesToAQuarterWithoutSkippingPixels) {
  client.fillRoot({0, 0, 640, 480}, 0);
  // Lines one pixel wide, four apart: an even dark grey at a quarter of the size.
  for (int x = 0; x < 640; x += 4) client.fillRoot({x, 0, 1, 480}, white);
  const auto stream = harness.start(DisplayFilter{display()}, settingsOf(160, 120), deliveries);
  const auto picture = deliveries.all().at(0);
  for (std::size_t x = 0; x < 160; ++x) {
    EXPECT_NEAR(picture.image->luma[60 * picture.image->lumaStride + x], 16 + 219 / 4, 2) << x;
  }
}

TEST_F(DisplayCapture, cutsAnOddSideInsteadOfBlurringIt) {
  const XServer odd{{.width = 641, .height = 481}};
  TestClient painter(odd.display());
  for (int x = 0; x < 641; x += 2) painter.fillRoot({x, 0, 1, 481}, white);
  CaptureHarness other(odd.display());
  const auto stream =
      other.start(DisplayFilter{other.content().displays.at(0).displayID}, settingsOf(640, 480), deliveries);
  EXPECT_LE(worstLumaDifference(*deliveries.all().at(0).image, painter.read({0, 0, 640, 480})), 2);
}

TEST_F(DisplayCapture, changesItsSizeWithNewSettings) {
  const auto stream = harness.start(DisplayFilter{display()}, settingsOf(640, 480), deliveries);
  stream->updateSettings(settingsOf(320, 240), [](auto result) { EXPECT_TRUE(result.has_value()); });
  const auto smaller =
      deliveries.waitFor([](const auto& picture) { return picture.image->size == PixelSize{320, 240}; });
  ASSERT_TRUE(smaller);
  EXPECT_EQ(smaller->changed, (std::vector<PixelRect>{{0, 0, 320, 240}}));
}

TEST_F(DisplayCapture, callsNoHandlerAfterStop) {
  const auto stream = harness.start(DisplayFilter{display()}, settingsOf(640, 480), deliveries);
  Deliveries marker;
  const auto other = harness.start(DisplayFilter{display()}, settingsOf(640, 480), marker);
  stream->stop();
  const std::size_t seen = deliveries.count();
  client.fillRoot({0, 0, 30, 30}, red);
  ASSERT_TRUE(marker.waitForColor(10, 10, red));
  EXPECT_EQ(deliveries.count(), seen);
}

TEST_F(DisplayCapture, refusesAnUnknownDisplayAndOddPictures) {
  EXPECT_FALSE(harness.startResult(DisplayFilter{1}, settingsOf(640, 480), deliveries).has_value());
  EXPECT_FALSE(harness.open(DisplayFilter{display()}, settingsOf(641, 480), deliveries).has_value());
  EXPECT_FALSE(harness.open(DisplayFilter{display()}, settingsOf(0, 0), deliveries).has_value());
  EXPECT_FALSE(harness.open(DisplayFilter{display()}, settingsOf(20'000, 480), deliveries).has_value());
}

TEST_F(DisplayCapture, waitsForNoAnswerOfTheServer) {
  const DisplayFilter filter{display()};
  server.pause();
  std::promise<bool> answered;
  auto calls = std::async(std::launch::async, [&] {
    harness.capture.geometry(filter, [&](auto geometry) { answered.set_value(geometry.has_value()); });
    return harness.open(filter, settingsOf(640, 480), deliveries).has_value();
  });
  EXPECT_EQ(calls.wait_for(std::chrono::seconds(10)), std::future_status::ready);
  server.resume();
  EXPECT_TRUE(calls.get());
  EXPECT_TRUE(answered.get_future().get());
}

TEST_F(DisplayCapture, reportsItsSize) {
  const auto geometry = harness.geometry(DisplayFilter{display()});
  ASSERT_TRUE(geometry.has_value());
  EXPECT_EQ(geometry->contentSize, (PointSize{640, 480}));
  EXPECT_EQ(geometry->pointPixelScale, 1.0);
}

TEST_F(DisplayCapture, endsWithAnErrorWhenTheServerDiesAndTheProcessLives) {
  const auto stream = harness.start(DisplayFilter{display()}, settingsOf(640, 480, true), deliveries);
  server.kill();
  const auto error = deliveries.waitForStop();
  ASSERT_TRUE(error);
  EXPECT_EQ(error->description, "the display has gone");
  EXPECT_TRUE(harness.content().displays.empty());
  EXPECT_FALSE(harness.geometry(DisplayFilter{1}).has_value());
}

TEST(DisplayAppearance, findsADisplayThatAppearsAfterTheStart) {
  auto name = std::make_shared<std::optional<std::string>>();
  CaptureHarness harness([name] { return *name; });
  EXPECT_TRUE(harness.content().displays.empty());
  EXPECT_TRUE(harness.content().windows.empty());
  const XServer server{{.width = 320, .height = 240}};
  *name = server.display();
  EXPECT_EQ(harness.content().displays.size(), 1U);
}

TEST(DisplayAppearance, answersWithEmptyListsWhereNoServerListens) {
  CaptureHarness harness(X11DisplayName([] { return std::string(":nowhere"); }));
  EXPECT_TRUE(harness.content().displays.empty());
}

}  // namespace
}  // namespace quorl::test
