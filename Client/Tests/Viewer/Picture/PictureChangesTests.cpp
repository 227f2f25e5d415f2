// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Picture/PictureChanges.h>

#include <random>

#include <gtest/gtest.h>

#include <quorl-viewer/Picture/PicturePainter.h>

#include "Colours.h"
#include "SyntheticPicture.h"

namespace quorl::viewer::test {
namespace {

using client::ColourMatrix;
using client::ColourRange;
using client::PlaneFormat;

constexpr PixelSize size{37, 23};

class PictureChanges : public testing::TestWithParam<PlaneFormat> {
 protected:
  PictureChanges() { before.fillWithNoise(), after.fillWithNoise(); }
  PixelRect changed() { return changedPart(before.planes(), after.planes()); }

  SyntheticPicture before{GetParam(), size};
  SyntheticPicture after{GetParam(), size};
};

TEST_P(PictureChanges, areNoneInEqualPictures) {
  EXPECT_TRUE(changed().isEmpty());
}

TEST_P(PictureChanges, areOnePixelOfLuma) {
  for (const auto& [x, y] : {std::pair{0, 0}, {36, 22}, {17, 5}}) {
    after.luma(x, y) ^= 1;
    EXPECT_EQ(changed(), (PixelRect{x, y, 1, 1}));
    after.luma(x, y) ^= 1;
  }
}

TEST_P(PictureChanges, areTheFourPixelsOfAColourSampleAndFewerAtTheEdge) {
  after.redDifference(16, 4) ^= 1;
  EXPECT_EQ(changed(), (PixelRect{16, 4, 2, 2}));
  after.redDifference(16, 4) ^= 1;
  after.blueDifference(36, 22) ^= 1;
  EXPECT_EQ(changed(), (PixelRect{36, 22, 1, 1}));
}

TEST_P(PictureChanges, areARectangleAroundAll) {
  after.luma(5, 20) ^= 1;
  after.luma(30, 3) ^= 1;
  EXPECT_EQ(changed(), (PixelRect{5, 3, 26, 18}));
  after.blueDifference(2, 10) ^= 1;
  EXPECT_EQ(changed(), (PixelRect{2, 3, 29, 18}));
}

TEST_P(PictureChanges, areEverythingWhereColoursMeanSomethingElse) {
  SyntheticPicture other(GetParam(), size, ColourMatrix::bt709);
  other.fillWithNoise();
  EXPECT_EQ(changedPart(before.planes(), other.planes()), PixelRect::of(size));
  SyntheticPicture full(GetParam(), size, ColourMatrix::bt601, ColourRange::full);
  full.fillWithNoise();
  EXPECT_EQ(changedPart(before.planes(), full.planes()), PixelRect::of(size));
}

TEST_P(PictureChanges, paintedAloneGiveTheSamePixelsAsAWholeRepaint) {
  std::mt19937 random(7);
  const auto upTo = [&](int most) { return static_cast<int>(random() % static_cast<unsigned>(most)); };
  for (const PixelSize target :
       {PixelSize{37, 23}, {74, 46}, {46, 29}, {55, 34}, {20, 12}, {36, 22}, {200, 31}})
    for (int round = 0; round < 20; ++round) {
      const PixelRect destination{3, 2, target.width, target.height};
      const PixelSize canvas{target.width + 5, target.height + 5};
      const auto paint = [&](SyntheticPicture& picture, Pixels& pixels, const PixelRect& damaged) {
        PicturePainter().paint(picture.planes(), {pixels.data(), pixels.stride(), canvas},
                               PixelRect::of(size), destination, damaged);
      };
      Pixels shown(canvas);
      paint(after, shown, PixelRect::of(canvas));
      for (int change = upTo(3); change >= 0; --change) {
        after.luma(upTo(size.width), upTo(size.height)) ^= 0x55;
        after.redDifference(upTo(size.width), upTo(size.height)) ^= 0x33;
      }
      paint(after, shown, shownPart(changed(), size, destination));
      Pixels whole(canvas);
      paint(after, whole, PixelRect::of(canvas));
      for (int y = 0; y < target.height; ++y)
        for (int x = 0; x < target.width; ++x)
          ASSERT_EQ(difference(shown.at(x + 3, y + 2), whole.at(x + 3, y + 2)), 0)
              << target.width << ' ' << x;
      before = after;
    }
}

INSTANTIATE_TEST_SUITE_P(Formats, PictureChanges,
                         testing::Values(PlaneFormat::i420, PlaneFormat::nv12, PlaneFormat::i010,
                                         PlaneFormat::p010));

TEST(ShownPart, isExactAtOneToOneAndNothingWithoutAChange) {
  EXPECT_EQ(shownPart({5, 3, 2, 4}, {100, 80}, {10, 20, 100, 80}), (PixelRect{15, 23, 2, 4}));
  EXPECT_TRUE(shownPart({}, {100, 80}, {0, 0, 200, 160}).isEmpty());
  const auto scaled = shownPart({50, 40, 1, 1}, {100, 80}, {0, 0, 200, 160});
  EXPECT_LE(scaled.width, 8);
  EXPECT_TRUE(scaled.contains({100, 80, 2, 2}));
}

}  // namespace
}  // namespace quorl::viewer::test
