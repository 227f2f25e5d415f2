// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Media/QuantizerControl.h>

#include <gtest/gtest.h>

#include "SyntheticScreen.h"

namespace quorl {
namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;
using test::DrawnPicture;
using test::SyntheticScreen;
using Kind = QuantizerControl::Kind;

constexpr PixelSize size{1280, 720};
constexpr int coarsest = 51;

PictureDetail noiseDetail() {
  SyntheticScreen screen(size);
  screen.makeNoise();
  return PictureDetail::ofWhole(*screen.picture());
}

PictureDetail pageDetail() {
  return PictureDetail::ofWhole(*SyntheticScreen(size).picture());
}

PictureDetail smallDetail() {
  const PixelRect character{100, 100, 8, 14};
  return {*SyntheticScreen(size).picture(), std::span(&character, 1)};
}

CompressionRates ratesOf(std::int64_t bits) {
  CompressionRates rates;
  rates.averageBitRate = bits;
  return rates;
}

// The state after the first key frame and the repeats that sharpen it.
struct Sharp {
  QuantizerControl control{size, coarsest};
  microseconds time{0};

  explicit Sharp(std::int64_t rate) {
    control.setRates(ratesOf(rate));
    control.choose({.kind = Kind::key, .presentationTime = time, .whole = pageDetail()});
    control.encoded(1'000);
    for (int pass = 0; pass < 20 && control.sharpensAll(); ++pass) {
      time += milliseconds(500);
      control.choose({.kind = Kind::repeat, .presentationTime = time, .whole = pageDetail()});
      control.encoded(1'000);
    }
    time += milliseconds(500);
  }
  int change(const PictureDetail& changed) {
    QuantizerControl::Picture picture{.presentationTime = time, .changed = changed};
    if (control.sharpensAll()) picture.whole = changed;
    return control.choose(picture);
  }
};

TEST(PictureDetail, costsOnlyMacroblocksForAFlatPicture) {
  DrawnPicture flat(size);
  flat.fill({0, 0, size.width, size.height}, 90, 100, 140);
  const auto detail = PictureDetail::ofWhole(flat);
  EXPECT_DOUBLE_EQ(detail.bitsAt(18), detail.bitsAt(40));
  EXPECT_LT(detail.bitsAt(18), 80'000);
  EXPECT_GT(detail.bitsAt(18), 30'000);
}

TEST(PictureDetail, costsLessAtCoarserQuantisers) {
  for (const auto& detail : {noiseDetail(), pageDetail()})
    for (int quantizer = 1; quantizer <= 51; ++quantizer)
      EXPECT_LE(detail.bitsAt(quantizer), detail.bitsAt(quantizer - 1)) << quantizer;
}

TEST(PictureDetail, acceptsPartsOutsideThePicture) {
  constexpr int far = 1'000'000'000;
  const std::vector<PixelRect> parts{
      {-far, -far, far, far}, {far, far, 5, 5}, {0, 0, -4, 9}, {1279, 719, far, far}, {0, 719, 3, 1}};
  const PictureDetail detail(*SyntheticScreen(size).picture(), parts);
  EXPECT_LT(detail.bitsAt(0), 10'000);
  EXPECT_DOUBLE_EQ(PictureDetail(*SyntheticScreen(size).picture(), {}).bitsAt(0), 0);
}

TEST(PictureDetail, measuresTheShareOfAPictureThatDiffers) {
  DrawnPicture first(size);
  DrawnPicture second(size);
  EXPECT_DOUBLE_EQ(differingShare(first, second), 0);
  second.fill({0, 0, size.width / 2, size.height}, 60, 128, 128);
  EXPECT_NEAR(differingShare(first, second), 0.5, 0.01);
  second.fill({0, 0, size.width, size.height}, 60, 128, 128);
  EXPECT_DOUBLE_EQ(differingShare(first, second), 1);
}

TEST(QuantizerControl, marksACheapChangeAfterAPauseAsNew) {
  Sharp sharp(40'000'000);
  DrawnPicture flat(size);
  const auto detail = PictureDetail::ofWhole(flat);
  sharp.change(detail);
  EXPECT_TRUE(sharp.control.isCheapAsNew());
  sharp.control.encoded(10'000);
  sharp.time += milliseconds(16);
  sharp.change(detail);
  EXPECT_FALSE(sharp.control.isCheapAsNew()) << "it may be moving";
  sharp.control.encoded(10'000);
  sharp.time += milliseconds(500);
  sharp.change(noiseDetail());
  EXPECT_FALSE(sharp.control.isCheapAsNew()) << "it costs too much";
}

TEST(QuantizerControl, doesNotLearnMotionFromRepeats) {
  Sharp sharp(40'000'000);
  const auto detail = PictureDetail::ofWhole(DrawnPicture(size));
  sharp.change(detail);
  sharp.control.encoded(10'000);
  sharp.time += milliseconds(100);
  sharp.control.choose({.kind = Kind::repeat, .presentationTime = sharp.time, .whole = detail});
  sharp.control.encoded(100);
  sharp.time += milliseconds(100);
  sharp.change(detail);
  EXPECT_TRUE(sharp.control.isCheapAsNew());
}

TEST(QuantizerControl, drawsASmallChangeAsFineAsTheRatesAllow) {
  for (const std::int64_t rate : {2'000'000, 8'000'000, 40'000'000}) {
    Sharp sharp(rate);
    EXPECT_EQ(sharp.change(smallDetail()), sharp.control.finest()) << rate;
  }
}

TEST(QuantizerControl, makesFinerPicturesAtAHigherRate) {
  QuantizerControl control(size, coarsest);
  control.setRates(ratesOf(2'000'000));
  const int low = control.finest();
  control.setRates(ratesOf(40'000'000));
  EXPECT_LT(control.finest(), low);
}

TEST(QuantizerControl, prefersALargeChangePromptToSharp) {
  Sharp sharp(12'000'000);
  const int first = sharp.change(pageDetail());
  EXPECT_GT(first, sharp.control.finest());
  EXPECT_LE(first, QuantizerControl::pleasant);
  sharp.control.encoded(700'000);
  ASSERT_TRUE(sharp.control.sharpensAll());
  sharp.time += milliseconds(60);
  const int second =
      sharp.control.choose({.kind = Kind::repeat, .presentationTime = sharp.time, .whole = pageDetail()});
  EXPECT_LT(second, first);
}

TEST(QuantizerControl, exceedsThePleasantQuantiserOnlyForTheRate) {
  Sharp sharp(2'000'000);
  EXPECT_GT(sharp.change(noiseDetail()), QuantizerControl::pleasant);
}

TEST(QuantizerControl, usesTheCoarsestQuantiserDuringADebt) {
  Sharp sharp(4'000'000);
  sharp.change(pageDetail());
  sharp.control.encoded(8'000'000);
  sharp.time += milliseconds(16);
  EXPECT_EQ(sharp.change(pageDetail()), coarsest);
}

TEST(QuantizerControl, learnsThatMotionIsCheapAndForgetsItAfterAPause) {
  Sharp sharp(12'000'000);
  const int first = sharp.change(pageDetail());
  for (int count = 0; count < 30; ++count) {
    sharp.control.encoded(5'000);
    sharp.time += microseconds(16'667);
    sharp.change(pageDetail());
  }
  const int moving = sharp.change(pageDetail());
  EXPECT_LT(moving, first);
  sharp.control.encoded(5'000);
  sharp.time += milliseconds(400);
  EXPECT_GT(sharp.change(pageDetail()), moving);
}

TEST(QuantizerControl, chargesAFinerPictureForTheWholeScreen) {
  Sharp sharp(2'000'000);
  const int coarse = sharp.change(noiseDetail());
  sharp.control.encoded(100'000);
  sharp.time += milliseconds(16);
  QuantizerControl::Picture typed{.presentationTime = sharp.time, .changed = smallDetail()};
  typed.whole = noiseDetail();
  const int next = sharp.control.choose(typed);
  EXPECT_GT(next, sharp.control.finest()) << "all the noise would come with the character";
  EXPECT_LE(next, coarse);
}

CompressionRates onALink(std::int64_t pictureBytes) {
  CompressionRates rates = ratesOf(20'000'000);
  rates.link = LinkRates{.bitRate = pictureBytes * 8 * 30, .frameRate = 30, .pictureBytes = pictureBytes};
  return rates;
}

// Full-screen noise at 30 pictures a second, each at `cost` times its expected size.
double averageBytes(QuantizerControl& control, const CompressionRates& rates, double cost) {
  control.setRates(rates);
  const PictureDetail noise = noiseDetail();
  microseconds time{0};
  double sum = 0;
  constexpr int pictures = 300;
  for (int picture = 0; picture < pictures; ++picture) {
    time += microseconds(33'333);
    const int quantizer = control.choose({.presentationTime = time, .changed = noise, .whole = noise});
    const double bits = noise.bitsAt(quantizer) * cost;
    control.encoded(static_cast<std::int64_t>(bits));
    if (picture >= pictures / 2) sum += bits / 8;
  }
  return sum / (pictures - pictures / 2);
}

TEST(QuantizerControl, makesPicturesThatFillALinkOnAverage) {
  for (const std::int64_t bytes : {20'000, 60'000}) {
    for (const double cost : {0.4, 1.0, 1.5}) {
      QuantizerControl control(size, 69);
      EXPECT_NEAR(averageBytes(control, onALink(bytes), cost) / static_cast<double>(bytes), 1, 0.2)
          << bytes << " " << cost;
    }
  }
}

TEST(QuantizerControl, makesAKeyFrameOfAFewPicturesSizeOnALink) {
  QuantizerControl control(size, 69);
  control.setRates(onALink(20'000));
  const int quantizer = control.choose({.kind = Kind::key, .whole = noiseDetail()});
  EXPECT_LE(noiseDetail().bitsAt(quantizer) / 8, 60'000);
  EXPECT_GE(noiseDetail().bitsAt(quantizer) / 8, 25'000);
}

TEST(QuantizerControl, isAsFineOnALinkAsTheQualityAsks) {
  QuantizerControl fast(size, coarsest);
  fast.setRates(ratesOf(20'000'000));
  QuantizerControl slow(size, coarsest);
  slow.setRates(onALink(20'000));
  EXPECT_EQ(slow.finest(), fast.finest());
}

}  // namespace
}  // namespace quorl
