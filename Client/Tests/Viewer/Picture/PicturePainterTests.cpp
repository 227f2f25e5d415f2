// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Picture/PicturePainter.h>

#include <gtest/gtest.h>

#include "Colours.h"
#include "SyntheticPicture.h"

namespace quorl::viewer::test {
namespace {

using client::ColourMatrix;
using client::ColourRange;
using client::PlaneFormat;

constexpr PlaneFormat formats[] = {PlaneFormat::i420, PlaneFormat::nv12, PlaneFormat::i010,
                                   PlaneFormat::p010};

Pixels painted(SyntheticPicture& picture, const PixelRect& source, PixelSize canvas,
               const PixelRect& destination, const PixelRect& damaged, Scaling scaling = Scaling::sharp) {
  Pixels pixels(canvas);
  PicturePainter().paint(picture.planes(), {pixels.data(), pixels.stride(), canvas}, source, destination,
                         damaged, scaling);
  return pixels;
}

Pixels paintedWhole(SyntheticPicture& picture, PixelSize source, PixelSize destination,
                    Scaling scaling = Scaling::sharp) {
  return painted(picture, PixelRect::of(source), destination, PixelRect::of(destination),
                 PixelRect::of(destination), scaling);
}

class ColourConversion : public testing::TestWithParam<std::tuple<ColourMatrix, ColourRange, double>> {};

TEST_P(ColourConversion, isRightForEverySample) {
  const auto [matrix, range, allowed] = GetParam();
  SyntheticPicture picture(PlaneFormat::i420, {512, 2}, matrix, range);
  Pixels pixels({512, 2});
  PicturePainter painter;
  double worst = 0;
  for (int blue = 0; blue < 256; blue += 15)
    for (int red = 0; red < 256; red += 15) {
      for (int x = 0; x < 512; ++x) {
        picture.luma(x, 0) = picture.luma(x, 1) = static_cast<std::uint8_t>(x / 2);
        picture.blueDifference(x, 0) = static_cast<std::uint8_t>(blue);
        picture.redDifference(x, 0) = static_cast<std::uint8_t>(red);
      }
      painter.paint(picture.planes(), {pixels.data(), pixels.stride(), pixels.size()}, {0, 0, 512, 2},
                    {0, 0, 512, 2}, {0, 0, 512, 2});
      for (int x = 0; x < 512; x += 2)
        worst = std::max(worst, difference(pixels.at(x, 1), colourOf(matrix, range, x / 2, blue, red)));
    }
  EXPECT_LE(worst, allowed);
}

INSTANTIATE_TEST_SUITE_P(Matrices, ColourConversion,
                         testing::Values(std::tuple(ColourMatrix::bt601, ColourRange::limited, 2.0),
                                         std::tuple(ColourMatrix::bt601, ColourRange::full, 2.0),
                                         std::tuple(ColourMatrix::bt709, ColourRange::limited, 2.0),
                                         std::tuple(ColourMatrix::bt709, ColourRange::full, 2.0),
                                         std::tuple(ColourMatrix::bt2020, ColourRange::limited, 2.0),
                                         std::tuple(ColourMatrix::bt2020, ColourRange::full, 3.0)));

class PlaneFormats : public testing::TestWithParam<PlaneFormat> {};

TEST_P(PlaneFormats, givesEachPixelItsOwnColour) {
  SyntheticPicture picture(GetParam(), {37, 23}, ColourMatrix::bt709);
  picture.fillWithNoise();
  const auto pixels = paintedWhole(picture, {37, 23}, {37, 23});
  for (int y = 0; y < 23; ++y)
    for (int x = 0; x < 37; ++x)
      ASSERT_LE(
          difference(pixels.at(x, y), colourOf(ColourMatrix::bt709, ColourRange::limited, picture.luma(x, y),
                                               picture.blueDifference(x, y), picture.redDifference(x, y))),
          2)
          << x << ' ' << y;
}

TEST_P(PlaneFormats, repaintsAPartAsInAWholeRepaint) {
  SyntheticPicture picture(GetParam(), {64, 48});
  picture.fillWithNoise();
  const PixelSize canvas{200, 150};
  const PixelRect source{3, 5, 50, 40};
  for (const PixelRect destination :
       {PixelRect{11, 7, 50, 40}, PixelRect{11, 7, 100, 80}, PixelRect{-20, -30, 150, 120},
        PixelRect{5, 5, 63, 51}, PixelRect{5, 5, 75, 60}, PixelRect{7, 3, 33, 21}, PixelRect{7, 3, 5, 4},
        PixelRect{0, 0, 180, 20}}) {
    const auto whole = painted(picture, source, canvas, destination, PixelRect::of(canvas));
    auto pieces = Pixels(canvas);
    PicturePainter painter;
    for (int y = 0; y < canvas.height; y += 13)
      for (int x = 0; x < canvas.width; x += 17)
        painter.paint(picture.planes(), {pieces.data(), pieces.stride(), canvas}, source, destination,
                      {x, y, 17, 13});
    EXPECT_TRUE(whole == pieces) << destination.width << 'x' << destination.height;
  }
}

INSTANTIATE_TEST_SUITE_P(All, PlaneFormats, testing::ValuesIn(formats));

TEST(PicturePainter, filtersALargeCanvasInStripsAsInOnePiece) {
  SyntheticPicture picture(PlaneFormat::i420, {640, 400});
  picture.fillWithNoise();
  const PixelSize canvas{1000, 625};  // several strips wherever there are several processors
  const auto whole = paintedWhole(picture, {640, 400}, canvas);
  auto pieces = Pixels(canvas);
  PicturePainter painter;
  for (int y = 0; y < canvas.height; y += 25)
    painter.paint(picture.planes(), {pieces.data(), pieces.stride(), canvas}, {0, 0, 640, 400},
                  PixelRect::of(canvas), {0, y, canvas.width, 25});
  EXPECT_TRUE(whole == pieces);
}

TEST(PicturePainter, copiesPixelsAtOneToOneFromAnyCorner) {
  SyntheticPicture picture(PlaneFormat::i420, {40, 30});
  picture.fillWithNoise();
  const auto whole = paintedWhole(picture, {40, 30}, {40, 30});
  for (const auto corner : {PixelRect{0, 0}, PixelRect{1, 0}, PixelRect{0, 1}, PixelRect{7, 5}}) {
    const PixelRect source{corner.x, corner.y, 20, 15};
    const auto part = painted(picture, source, {20, 15}, {0, 0, 20, 15}, {0, 0, 20, 15});
    for (int y = 0; y < 15; ++y)
      for (int x = 0; x < 20; ++x) ASSERT_EQ(part.at(x, y), whole.at(x + corner.x, y + corner.y));
  }
}

TEST(PicturePainter, repeatsPixelsAtWholeMultiples) {
  SyntheticPicture picture(PlaneFormat::i420, {20, 10});
  picture.fillWithNoise();
  const auto whole = paintedWhole(picture, {20, 10}, {20, 10});
  for (const auto& [across, down] : {std::pair(2, 2), std::pair(3, 3), std::pair(1, 2), std::pair(5, 1)}) {
    const auto large = paintedWhole(picture, {20, 10}, {20 * across, 10 * down});
    for (int y = 0; y < 10 * down; ++y)
      for (int x = 0; x < 20 * across; ++x) ASSERT_EQ(large.at(x, y), whole.at(x / across, y / down));
  }
}

// The picture is a ramp, so that interpolation has a known result. It is steep enough to show an error of a
// quarter of a pixel.
class SmoothRamp : public testing::Test {
 protected:
  static constexpr int side_ = 32;
  static constexpr int slope_ = 4;

  SmoothRamp() : picture_(PlaneFormat::i420, {side_, side_}, ColourMatrix::bt601, ColourRange::full) {
    for (int y = 0; y < side_; ++y)
      for (int x = 0; x < side_; ++x) picture_.luma(x, y) = static_cast<std::uint8_t>(slope_ * (x + y));
  }
  void expectRamp(int side) {
    const auto pixels = paintedWhole(picture_, {side_, side_}, {side, side}, Scaling::smooth);
    const double factor = double(side) / side_;
    const int edge = static_cast<int>(std::ceil(factor));
    for (int y = edge; y < side - edge; ++y)
      for (int x = edge; x < side - edge; ++x)
        ASSERT_NEAR(pixels.at(x, y)[0], slope_ * ((x + y + 1) / factor - 1), 1.75)
            << side << ' ' << x << ' ' << y;
  }

  SyntheticPicture picture_;
};

TEST_F(SmoothRamp, isARampAtFractionalScales) {
  for (const int side : {40, 48, 57, 29, 21, 16, 5}) expectRamp(side);
}

TEST_F(SmoothRamp, isFilteredAtWholeMultiplesOnRequest) {
  expectRamp(64);
  expectRamp(96);
}

TEST(PicturePainter, keepsAFlatColourAtEveryScale) {
  SyntheticPicture picture(PlaneFormat::i420, {97, 61}, ColourMatrix::bt709, ColourRange::full);
  for (int y = 0; y < 61; ++y)
    for (int x = 0; x < 97; ++x) {
      picture.luma(x, y) = 131;
      picture.blueDifference(x, y) = 90;
      picture.redDifference(x, y) = 170;
    }
  const auto exact = paintedWhole(picture, {97, 61}, {97, 61}).at(0, 0);
  for (const PixelSize size :
       {PixelSize{1, 1}, {3, 2}, {96, 60}, {98, 62}, {121, 76}, {400, 300}, {97, 2}, {1, 61}}) {
    const auto pixels = paintedWhole(picture, {97, 61}, size);
    for (int y = 0; y < size.height; ++y)
      for (int x = 0; x < size.width; ++x)
        ASSERT_EQ(pixels.at(x, y), exact) << size.width << 'x' << size.height;
  }
}

TEST(PicturePainter, showsNothingFromOutsideTheSource) {
  SyntheticPicture picture(PlaneFormat::i420, {60, 60}, ColourMatrix::bt601, ColourRange::full);
  for (int y = 0; y < 60; ++y)
    for (int x = 0; x < 60; ++x) picture.luma(x, y) = x >= 20 && x < 40 && y >= 20 && y < 40 ? 200 : 10;
  for (const int side : {13, 20, 33, 40}) {
    const auto pixels =
        painted(picture, {20, 20, 20, 20}, {side, side}, {0, 0, side, side}, {0, 0, side, side});
    for (int y = 0; y < side; ++y)
      for (int x = 0; x < side; ++x) ASSERT_EQ(pixels.at(x, y)[0], 200) << side;
  }
}

TEST(PicturePainter, paintsOnlyTheDamagedPartOfTheDestination) {
  SyntheticPicture picture(PlaneFormat::i420, {10, 10});
  const auto untouched = Pixels({30, 30}).at(0, 0);
  const auto pixels = painted(picture, {0, 0, 10, 10}, {30, 30}, {5, 5, 20, 20}, {0, 0, 12, 12});
  for (int y = 0; y < 30; ++y)
    for (int x = 0; x < 30; ++x) {
      const bool isPainted = x >= 5 && x < 12 && y >= 5 && y < 12;
      ASSERT_EQ(pixels.at(x, y) != untouched, isPainted) << x << ' ' << y;
    }
}

TEST(PicturePainter, ignoresASourceOutsideThePicture) {
  SyntheticPicture picture(PlaneFormat::i420, {10, 10});
  const Pixels untouched({30, 30});
  for (const PixelRect source : {PixelRect{0, 0, 11, 10}, {-1, 0, 5, 5}, {0, 0, 0, 5}, {9, 9, 2, 1}})
    EXPECT_TRUE(painted(picture, source, {30, 30}, {0, 0, 30, 30}, {0, 0, 30, 30}) == untouched);
}

}  // namespace
}  // namespace quorl::viewer::test
