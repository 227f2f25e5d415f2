// SPDX-License-Identifier: GPL-3.0-or-later
// Large rectangles arrive in bands, which are used before the last
// of them have arrived.
#include <gtest/gtest.h>

#include <set>
#include <stop_token>
#include <thread>

#include <QuorlHostLinux/X11/Capture/CaptureOutlet.h>
#include <QuorlHostLinux/X11/Capture/SharedImage.h>
#include <Support/XServerFixture.h>

#include "CaptureHarness.h"
#include "TestClient.h"

namespace quorl::test {
namespace {

constexpr std::uint32_t red = 0xFF0000;
constexpr std::uint32_t blue = 0x0000FF;

// The server takes turns between its clients every few milliseconds: the screen is large enough for several
// turns, and another client draws on all of it without a pause.
class LargeDisplayCapture : public testing::Test {
 protected:
  static constexpr int width = 3840;
  static constexpr int height = 2160;

  std::unique_ptr<CaptureStream> start(bool showsCursor) {
    return harness.start(DisplayFilter{harness.content().displays.at(0).displayID},
                         {.size = {width, height},
                          .minimumFrameInterval = std::chrono::milliseconds(1),
                          .showsCursor = showsCursor,
                          .queueDepth = 5},
                         deliveries);
  }
  // Grey, so that no cursor is of its colour.
  std::jthread startPainter() {
    return std::jthread([this](const std::stop_token& stop) {
      TestClient client{server.display()};
      for (std::uint32_t i = 0; !stop.stop_requested(); ++i)
        client.fillRoot({0, 0, width, height}, 0x010101 * (i * 37 % 251));
    });
  }
  std::optional<CapturedPicture> next() {
    deliveries.release();
    return deliveries.waitFor([](const auto&) { return true; }, deliveries.count());
  }

  XServer server{{.width = width, .height = height}};
  Deliveries deliveries;
  CaptureHarness harness{server.display()};
};

TEST_F(LargeDisplayCapture, showsOneMomentInAllBandsOfAPicture) {
  const auto stream = start(false);
  const std::jthread painter = startPainter();
  std::set<std::uint32_t> colors;
  for (int i = 0; i < 60; ++i) {
    const auto picture = next();
    ASSERT_TRUE(picture);
    const std::uint32_t top = colorAt(*picture->image, width / 2, 0);
    for (int y = 1; y < height; ++y)
      ASSERT_EQ(colorAt(*picture->image, width / 2, y), top) << "picture " << i << ", row " << y;
    colors.insert(top);
  }
  EXPECT_GT(colors.size(), 5U);
}

TEST_F(LargeDisplayCapture, drawsThePointerOverTheRowsThatArriveLast) {
  constexpr int side = 16;
  const PixelRect block{width / 2, height - 40, side, side};
  TestClient client{server.display()};
  client.setBlockCursor(side, red);
  client.movePointer(block.x, block.y);
  const auto stream = start(true);
  ASSERT_TRUE(deliveries.waitForColor(block.x + 4, block.y + 4, red));
  const std::jthread painter = startPainter();
  for (int i = 0; i < 60; ++i) {
    const auto picture = next();
    ASSERT_TRUE(picture);
    ASSERT_LE(distance(colorAt(*picture->image, block.x + 4, block.y + 4), red), 4) << "picture " << i;
    ASSERT_EQ(colorAt(*picture->image, block.x + 100, block.y + 4), colorAt(*picture->image, 0, 0))
        << "picture " << i;
  }
}

class SharedImages : public testing::Test {
 protected:
  SharedImages() {
    auto opened = X11Connection::open(X11DisplayName([this] { return server.display(); }));
    if (opened) connection = std::move(*opened);
    client.fillRoot(screen, blue);
  }
  // Larger than the screen, so that a request may include pixels the server does not have.
  std::unique_ptr<SharedImage> makeImage() { return std::move(*SharedImage::make(*connection, {640, 1600})); }

  const PixelRect screen{0, 0, 640, 480};
  const PixelRect beyond{0, 0, 640, 1600};
  XServer server{{.width = 640, .height = 480}};
  TestClient client{server.display()};
  std::unique_ptr<X11Connection> connection;
};

TEST_F(SharedImages, reportAnUnreadableAreaAndContinue) {
  ASSERT_TRUE(connection);
  const auto image = makeImage();
  image->request(client.root(), 0, 0, std::span(&beyond, 1));
  EXPECT_FALSE(image->awaitAll());
  image->request(client.root(), 0, 0, std::span(&screen, 1));
  EXPECT_TRUE(image->awaitAll());
  const std::uint8_t* last = image->pixels() + image->stride() * 479 + 4 * 639;
  EXPECT_EQ((std::vector<int>{last[0], last[1], last[2]}), (std::vector{255, 0, 0}));
}

TEST_F(SharedImages, makeNoPictureOfPixelsThatNeverArrive) {
  ASSERT_TRUE(connection);
  PoolScheduler scheduler;
  const SerialQueue queue(scheduler, "test.stream", QueueRank::stream);
  Deliveries deliveries;
  const auto waker = std::make_shared<Waker>();
  CaptureOutlet outlet(1, {.size = {640, 1600}},
                       std::make_shared<StreamCallbacks>(queue, deliveries.handlers()),
                       std::make_shared<PictureRequests>(waker), waker);
  const auto image = makeImage();
  image->request(client.root(), 0, 0, std::span(&beyond, 1));
  outlet.deliver(*image, {});
  image->request(client.root(), 0, 0, std::span(&screen, 1));
  outlet.sourceChanged(DirtyRegion(screen));
  outlet.deliver(*image, {});
  const auto first = deliveries.waitFor([](const auto&) { return true; });
  ASSERT_TRUE(first);
  EXPECT_EQ(first->changed, std::vector{screen});
  EXPECT_LE(distance(colorAt(*first->image, 639, 479), blue), 4);
  EXPECT_EQ(deliveries.count(), 1U);
}

}  // namespace
}  // namespace quorl::test
