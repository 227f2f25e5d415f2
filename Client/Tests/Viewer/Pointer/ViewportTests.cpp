// SPDX-License-Identifier: GPL-3.0-or-later
#include <array>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <random>

#include <gtest/gtest.h>

#include <quorl-viewer/Pointer/Viewport.h>

namespace quorl::viewer {
namespace {

/// The pixel at which a host's pointer arrives.
int hostPixel(float normalised, int side) {
  return static_cast<int>(std::floor(double(normalised) * side));
}

TEST(Viewport, fitsThePictureInTheMiddle) {
  const Viewport wide({.picture = {1920, 1080}, .view = {1000, 1000}});
  EXPECT_EQ(wide.target(), (PixelRect{0, 218, 1000, 563}));
  const Viewport tall({.picture = {1080, 1920}, .view = {1000, 960}});
  EXPECT_EQ(tall.target(), (PixelRect{230, 0, 540, 960}));
}

TEST(Viewport, showsPixelsExactlyAndPansWithoutGaps) {
  Viewport viewport({.picture = {1000, 400}, .view = {600, 500}, .mode = ScaleMode::exact});
  EXPECT_EQ(viewport.target(), (PixelRect{-200, 50, 1000, 400}));
  EXPECT_TRUE(viewport.isWholePixels());
  EXPECT_TRUE(viewport.pan(-1000, -1000));
  EXPECT_EQ(viewport.target(), (PixelRect{-400, 50, 1000, 400}));
  EXPECT_FALSE(viewport.pan(-1, 5));
  EXPECT_TRUE(viewport.pan(1000, 0));
  EXPECT_EQ(viewport.target(), (PixelRect{0, 50, 1000, 400}));
  EXPECT_EQ(viewport.visible(), (PixelRect{0, 50, 600, 400}));
}

TEST(Viewport, keepsTheMiddleOfWhatIsSeenInAViewOfAnotherSize) {
  Viewport viewport({.picture = {1000, 1000}, .view = {200, 200}, .mode = ScaleMode::exact});
  viewport.pan(300, 0);
  EXPECT_EQ(viewport.target().x, -100);
  auto layout = viewport.layout();
  layout.view = {100, 100};
  viewport.set(layout);
  EXPECT_EQ(viewport.target(), (PixelRect{-150, -450, 1000, 1000}));
}

TEST(Viewport, knowsWhenEachPixelIsWhole) {
  EXPECT_TRUE(Viewport({.picture = {100, 50}, .view = {300, 150}}).isWholePixels());
  EXPECT_FALSE(Viewport({.picture = {100, 50}, .view = {250, 150}}).isWholePixels());
  EXPECT_TRUE(
      Viewport({.picture = {9, 9}, .view = {1, 1}, .mode = ScaleMode::fixed, .factor = 2}).isWholePixels());
}

TEST(Viewport, hasNoPlaceInTheLetterboxButANearestOne) {
  const Viewport viewport({.picture = {100, 50}, .view = {100, 100}});
  EXPECT_FALSE(viewport.placeAt({50, 24}));
  EXPECT_TRUE(viewport.placeAt({50, 25}));
  EXPECT_TRUE(viewport.placeAt({50, 74}));
  EXPECT_FALSE(viewport.placeAt({50, 75}));
  EXPECT_FALSE(viewport.placeAt({-1, 50}));
  EXPECT_FALSE(viewport.placeAt({100, 50}));
  const auto below = viewport.nearestPlace({500, 500});
  ASSERT_TRUE(below);
  EXPECT_EQ(hostPixel(below->x, 100), 99);
  EXPECT_EQ(hostPixel(below->y, 50), 49);
  const auto above = viewport.nearestPlace({-7, -7});
  EXPECT_EQ(hostPixel(above->x, 100), 0);
  EXPECT_EQ(hostPixel(above->y, 50), 0);
}

TEST(Viewport, hasNoPlaceWithoutAPictureOrAPosition) {
  EXPECT_FALSE(Viewport().nearestPlace({0, 0}));
  EXPECT_FALSE(Viewport({.picture = {0, 10}, .view = {10, 10}}).nearestPlace({0, 0}));
  EXPECT_FALSE(Viewport({.picture = {10, 10}, .view = {10, 10}}).nearestPlace({std::nan(""), 0}));
  EXPECT_FALSE(Viewport({.picture = {10, 10}, .view = {10, 10}})
                   .placeAt({std::numeric_limits<double>::infinity(), 0}));
  EXPECT_EQ(Viewport({.picture = {10, 10},
                      .view = {10, 10},
                      .viewScale = 0,
                      .mode = ScaleMode::fixed,
                      .factor = std::nan("")})
                .target(),
            (PixelRect{0, 0, 10, 10}));
}

/// A layout that people may have, or just any.
Viewport::Layout anyLayout(std::mt19937& random) {
  constexpr std::array scales{1.0, 1.25, 1.5, 2.0};
  const auto between = [&](int least, int most) {
    return std::uniform_int_distribution(least, most)(random);
  };
  Viewport::Layout layout;
  layout.picture = {between(1, 7680), between(1, 4320)};
  layout.view = {between(1, 5120), between(1, 2880)};
  layout.viewScale = scales[static_cast<std::size_t>(between(0, 3))];
  layout.mode = static_cast<ScaleMode>(between(0, 2));
  layout.factor = between(1, 12) / 4.0;
  return layout;
}

TEST(Viewport, landsWithinOneRemotePixelAtEveryScaleLetterboxAndSize) {
  std::mt19937 random(7);
  int seen = 0;
  for (int shape = 0; shape < 20'000; ++shape) {
    const auto layout = anyLayout(random);
    Viewport viewport(layout);
    viewport.pan(static_cast<int>(random() % 4000) - 2000, static_cast<int>(random() % 4000) - 2000);
    const auto target = viewport.target();
    for (int click = 0; click < 5; ++click) {
      const int deviceX = static_cast<int>(random() % static_cast<unsigned>(layout.view.width));
      const int deviceY = static_cast<int>(random() % static_cast<unsigned>(layout.view.height));
      const bool isInside =
          deviceX >= target.x && deviceX < target.maxX() && deviceY >= target.y && deviceY < target.maxY();
      const auto place = viewport.placeAt({deviceX / layout.viewScale, deviceY / layout.viewScale});
      ASSERT_EQ(place.has_value(), isInside);
      if (!place) continue;
      ++seen;
      // The remote pixel that is drawn at the middle of the device pixel.
      const auto drawn = [](int device, int start, int length, int side) {
        return static_cast<int>(std::floor((device + 0.5 - start) * side / length));
      };
      const int x = hostPixel(place->x, layout.picture.width);
      const int y = hostPixel(place->y, layout.picture.height);
      ASSERT_LE(std::abs(x - drawn(deviceX, target.x, target.width, layout.picture.width)), 1);
      ASSERT_LE(std::abs(y - drawn(deviceY, target.y, target.height, layout.picture.height)), 1);
      if (layout.mode == ScaleMode::exact) {
        ASSERT_EQ(x, deviceX - target.x);
        ASSERT_EQ(y, deviceY - target.y);
      }
    }
  }
  EXPECT_GT(seen, 10'000);
}

TEST(Viewport, mapsAPlaceBackToWhereItIsDrawn) {
  std::mt19937 random(11);
  for (int shape = 0; shape < 1'000; ++shape) {
    const Viewport viewport(anyLayout(random));
    const double scale = viewport.layout().viewScale;
    const auto target = viewport.target();
    const auto place = viewport.nearestPlace({target.x / scale + 3, target.y / scale + 2});
    ASSERT_TRUE(place);
    const auto back = viewport.windowPointOf(*place);
    const double pixel = std::max(double(target.width) / viewport.layout().picture.width,
                                  double(target.height) / viewport.layout().picture.height);
    if (target.width <= 8 || target.height <= 8) continue;  // the place was clamped
    ASSERT_NEAR(back.x, target.x / scale + 3, 1 + pixel);
    ASSERT_NEAR(back.y, target.y / scale + 2, 1 + pixel);
  }
}

}  // namespace
}  // namespace quorl::viewer
