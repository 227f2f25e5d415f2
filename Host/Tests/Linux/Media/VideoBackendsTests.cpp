// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Media/VideoBackends.h>

#include <algorithm>
#include <string>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <Support/TemporaryFolder.h>

#include "ParameterSets.h"
#include "Recording.h"
#include "SyntheticScreen.h"

namespace quorl {
namespace {

constexpr PixelSize small{640, 360};

/// Every encoder of the table.
class EachBackend : public testing::TestWithParam<std::size_t> {
 protected:
  void SetUp() override {
    if (!backend().isThere()) GTEST_SKIP() << backend().name << " needs a device that this machine lacks";
    const auto made =
        backend().make({.size = small, .codec = backend().codec}, [this](CompressedPicture picture) {
          if (picture.configurationRecord) record_ = picture.configurationRecord;
        });
    ASSERT_TRUE(made) << made.error().description;
    (*made)->encode({.image = test::SyntheticScreen(small).picture()});
    (*made)->completeAndInvalidate();
    ASSERT_TRUE(record_);
    promises_ = test::promisesOf(backend().codec, *record_);
    ASSERT_TRUE(promises_);
    ASSERT_TRUE(promises_->isComplete);
  }

  const VideoBackend& backend() const { return videoBackends()[GetParam()]; }

  SharedBytes record_;
  std::optional<test::StreamPromises> promises_;
};

INSTANTIATE_TEST_SUITE_P(Table, EachBackend, testing::Range(std::size_t{0}, videoBackends().size()),
                         [](const auto& each) { return std::string(videoBackends()[each.param].name); });

// A decoder without this promise may hold several pictures back, as those of browsers and of devices do.
TEST_P(EachBackend, promisesThatNoPictureWaitsForAnother) {
  ASSERT_TRUE(promises_->reorderedPictures);
  EXPECT_EQ(*promises_->reorderedPictures, 0U);
  EXPECT_LE(promises_->latencyIncreasePlusOne, 1U);
}

TEST_P(EachBackend, promisesThatADecoderBuffersLittle) {
  constexpr std::uint32_t fewPictures = 2;  // the least that x265 declares
  EXPECT_LE(promises_->heldPictures, fewPictures);
  if (backend().codec == VideoCodec::h264) {
    EXPECT_EQ(promises_->heldPictures, promises_->referencePictures);
  }
}

// The converter averages four pixels, so the sample is centred between them. Decoders assume the left edge by
// default.
TEST_P(EachBackend, declaresTheChromaSampleLocation) {
  constexpr std::uint32_t middleOfFour = 1;
  ASSERT_TRUE(promises_->chromaLocation);
  EXPECT_EQ(*promises_->chromaLocation, middleOfFour);
}

// The parser's result for a stream with delayed pictures, to prove that the checks above can fail.
TEST(StreamPromises, differForAStreamWithReorderedPictures) {
  struct Sample {
    VideoCodec codec;
    const char* encoder;
    const char* tag;
    const char* box;
  };
  for (const Sample& sample :
       {Sample{VideoCodec::h264, "libx264", "avc1", "avcC"},
        Sample{VideoCodec::hevc, "libx265 -x265-params log-level=none", "hvc1", "hvcC"}}) {
    const test::TemporaryFolder folder;
    const std::string file = folder.file("movie.mp4");
    ASSERT_EQ(test::outputOf(
                  fmt::format("ffmpeg -v error -f lavfi -i testsrc=s=320x240 -frames:v 20 -pix_fmt yuv420p "
                              "-c:v {} -bf 2 -chroma_sample_location topleft -tag:v {} {}",
                              sample.encoder, sample.tag, file)),
              "");
    const Bytes movie = test::contentOf(file);
    const auto found = std::ranges::search(movie, std::string_view(sample.box));
    ASSERT_FALSE(found.empty());
    const auto promises = test::promisesOf(sample.codec, Bytes(found.end(), movie.end()));
    ASSERT_TRUE(promises) << sample.encoder;
    EXPECT_TRUE(promises->isComplete) << sample.encoder;
    EXPECT_GE(promises->reorderedPictures.value_or(0), 1U) << sample.encoder;
    EXPECT_EQ(promises->chromaLocation, 2U) << sample.encoder;
  }
}

}  // namespace
}  // namespace quorl
