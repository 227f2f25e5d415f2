// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Media/LinuxVideoCompressors.h>

#include <algorithm>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QuorlHostCore/Display/VideoEncoder.h>
#include <Support/TemporaryFolder.h>

#include "Recording.h"
#include "SyntheticScreen.h"

namespace quorl {
namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::seconds;
using test::DrawnPicture;
using test::lumaPSNR;
using test::outputOf;
using test::Recording;
using test::SyntheticScreen;
using test::TemporaryFolder;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr PixelSize small{640, 360};
constexpr microseconds frame{16'667};

class RealCompressor : public testing::TestWithParam<VideoCodec> {};

INSTANTIATE_TEST_SUITE_P(Codecs, RealCompressor, testing::Values(VideoCodec::h264, VideoCodec::hevc),
                         [](const auto& each) { return each.param == VideoCodec::h264 ? "h264" : "hevc"; });

TEST_P(RealCompressor, decodesToTheInputPictures) {
  Recording recording(GetParam(), {1280, 720}, 60, 1.0);
  ASSERT_TRUE(recording.isOpen());
  SyntheticScreen screen({1280, 720});
  std::vector<std::vector<std::uint8_t>> originals;
  for (int count = 0; count < 30; ++count) {
    screen.scroll(count % 3);
    screen.typeCharacter();
    originals.push_back(screen.picture()->packed());
    recording.encode(screen.picture());
    recording.advance(frame);
  }
  std::string complaints;
  const auto decoded = recording.decoded(&complaints);
  EXPECT_EQ(complaints, "");
  ASSERT_EQ(decoded.size(), originals.size());
  // The first picture may be coarse, under the ceiling of the rate.
  EXPECT_GT(lumaPSNR(originals[0], decoded[0], {1280, 720}), 25);
  for (std::size_t index = 10; index < originals.size(); ++index)
    EXPECT_GT(lumaPSNR(originals[index], decoded[index], {1280, 720}), 33) << "picture " << index;
}

TEST_P(RealCompressor, keepsUnchangedPartsAndDrawsChangedOnes) {
  Recording marked(GetParam(), small, 60, 1.0);
  Recording plain(GetParam(), small, 60, 1.0);
  SyntheticScreen screen(small);
  std::vector<std::vector<std::uint8_t>> originals;
  for (int count = 0; count < 60; ++count) {
    std::vector<PixelRect> changed;
    if (count > 5) changed.push_back(screen.typeCharacter());
    originals.push_back(screen.picture()->packed());
    marked.encode(screen.picture(), changed);
    plain.encode(screen.picture());
    marked.advance(frame);
    plain.advance(frame);
  }
  std::string complaints;
  const auto withMarks = marked.decoded(&complaints);
  EXPECT_EQ(complaints, "");
  const auto without = plain.decoded();
  ASSERT_EQ(withMarks.size(), originals.size());
  ASSERT_EQ(without.size(), originals.size());
  for (std::size_t index = 10; index < originals.size(); ++index) {
    const double quality = lumaPSNR(originals[index], withMarks[index], small);
    EXPECT_GT(quality, 33) << "picture " << index;
    EXPECT_GT(quality, lumaPSNR(originals[index], without[index], small) - 1.0) << "picture " << index;
  }
}

TEST_P(RealCompressor, writesTheRecordThatFFmpegsMuxerWrites) {
  for (const PixelSize size : {small, PixelSize{1920, 1080}, PixelSize{802, 606}}) {
    Recording recording(GetParam(), size);
    ASSERT_TRUE(recording.isOpen());
    recording.encode(SyntheticScreen(size).picture());
    const TemporaryFolder folder;
    const std::string format = recording.writeRaw(folder.file("raw"));
    const bool isHEVC = GetParam() == VideoCodec::hevc;
    ASSERT_EQ(outputOf(fmt::format("ffmpeg -v error -f {} -i {} -c copy -tag:v {} {}", format,
                                   folder.file("raw"), isHEVC ? "hvc1" : "avc1", folder.file("out.mp4"))),
              "");
    const Bytes movie = test::contentOf(folder.file("out.mp4"));
    // The box that holds the record: its size, its name, its content (ISO/IEC 14496-12, 4.2).
    const std::string_view name = isHEVC ? "hvcC" : "avcC";
    const auto found = std::ranges::search(movie, name);
    ASSERT_FALSE(found.empty());
    const auto start = static_cast<std::size_t>(found.begin() - movie.begin());
    const std::size_t boxSize = (static_cast<std::size_t>(movie[start - 2]) << 8) | movie[start - 1];
    const Bytes record(movie.begin() + static_cast<std::ptrdiff_t>(start + 4),
                       movie.begin() + static_cast<std::ptrdiff_t>(start + boxSize - 4));
    EXPECT_EQ(*recording.pictures().at(0).configurationRecord, record) << size.width << "x" << size.height;
  }
}

TEST_P(RealCompressor, declaresItsColours) {
  Recording recording(GetParam(), small);
  recording.encode(SyntheticScreen(small).picture());
  const TemporaryFolder folder;
  const std::string format = recording.writeRaw(folder.file("raw"));
  const std::string facts = outputOf(fmt::format(
      "ffprobe -v error -f {} -show_entries "
      "stream=color_range,color_space,color_primaries,color_transfer,has_b_frames,width,height {}",
      format, folder.file("raw")));
  for (const char* fact : {"color_range=tv", "color_space=smpte170m", "color_primaries=bt709",
                           "color_transfer=bt709", "has_b_frames=0", "width=640", "height=360"})
    EXPECT_THAT(facts, HasSubstr(fact));
}

TEST_P(RealCompressor, outputsEveryPictureAtOnceWithItsTime) {
  Recording recording(GetParam(), small);
  const auto picture = SyntheticScreen(small).picture();
  for (std::size_t count = 1; count <= 5; ++count) {
    recording.advance(milliseconds(700));
    recording.encode(picture);
    ASSERT_EQ(recording.pictures().size(), count);
    EXPECT_EQ(recording.pictures().back().presentationTime, milliseconds(700) * count);
    EXPECT_GE(recording.pictures().back().coarseness.quantizer, 0);
    EXPECT_LE(recording.pictures().back().coarseness.quantizer, 51);
  }
}

TEST_P(RealCompressor, makesKeyFramesFirstAndOnDemandOnly) {
  Recording recording(GetParam(), small);
  const auto picture = SyntheticScreen(small).picture();
  for (int count = 0; count < 12; ++count) {
    recording.encode(picture, {}, count == 5 || count == 6 || count == 9);
    recording.advance(frame);
  }
  EXPECT_THAT(recording.keyFrames(), ElementsAre(0, 5, 6, 9));
  EXPECT_EQ(recording.decoded().size(), 12U);
}

TEST_P(RealCompressor, decodesFromAnyKeyFrameOn) {
  Recording recording(GetParam(), small, 60, 1.0);
  SyntheticScreen screen(small);
  std::vector<std::vector<std::uint8_t>> originals;
  for (int count = 0; count < 20; ++count) {
    screen.typeCharacter();
    originals.push_back(screen.picture()->packed());
    recording.encode(screen.picture(), {}, count == 10);
    recording.advance(milliseconds(100));
  }
  const auto whole = recording.decoded();
  ASSERT_EQ(whole.size(), 20U);
  // A client that lost everything before the key frame sees the same.
  Recording late(GetParam(), small);
  auto& kept = const_cast<std::vector<CompressedPicture>&>(late.pictures());
  kept.assign(recording.pictures().begin() + 10, recording.pictures().end());
  std::string complaints;
  const auto tail = late.decoded(&complaints);
  EXPECT_EQ(complaints, "");
  ASSERT_EQ(tail.size(), 10U);
  for (std::size_t index = 0; index < 10; ++index) EXPECT_EQ(tail[index], whole[10 + index]) << index;
}

TEST_P(RealCompressor, makesAKeyFrameEveryTenSecondsOfPresentationTime) {
  Recording recording(GetParam(), small);
  const auto picture = SyntheticScreen(small).picture();
  for (int count = 0; count < 26; ++count) {
    recording.encode(picture);
    recording.advance(seconds(1));
  }
  EXPECT_THAT(recording.keyFrames(), ElementsAre(0, 10, 20));
}

TEST_P(RealCompressor, makesAKeyFrameEverySixHundredPicturesAtTheLatest) {
  Recording recording(GetParam(), {64, 64});
  const auto picture = SyntheticScreen({64, 64}).picture();
  for (int count = 0; count < 1300; ++count) {
    recording.encode(picture);
    recording.advance(milliseconds(1));
  }
  const auto keys = recording.keyFrames();
  ASSERT_GE(keys.size(), 3U);
  for (std::size_t index = 1; index < keys.size(); ++index) EXPECT_LE(keys[index] - keys[index - 1], 600U);
}

// Noise everywhere at the full frame rate, the hardest input for an encoder.
TEST_P(RealCompressor, holdsItsRatesUnderTheHardestPictures) {
  const bool isHEVC = GetParam() == VideoCodec::hevc;
  Recording recording(GetParam(), small);
  SyntheticScreen screen(small);
  const int count = isHEVC ? 180 : 300;
  for (int index = 0; index < count; ++index) {
    if (index % 3 == 0)
      screen.makeNoise();
    else
      screen.redraw();
    recording.encode(screen.picture());
    recording.advance(frame);
  }
  const std::int64_t rate = recording.averageBitRate();
  const double length = static_cast<double>(count) / 60;
  const std::int64_t total = recording.bitsIn(microseconds(0), std::chrono::hours(1));
  EXPECT_LE(recording.mostBitsInASecond(), rate * 3 / 2);
  // The average over the whole run, without the half second that a full bucket allows at the start.
  EXPECT_LE(static_cast<double>(total), static_cast<double>(rate) * (length + 0.5));
  EXPECT_GT(static_cast<double>(total), static_cast<double>(rate) * length * 0.4)
      << "it is not starved either";
}

TEST_P(RealCompressor, followsALowerRateWithinASecond) {
  Recording recording(GetParam(), {960, 540}, 60, 1.0);
  SyntheticScreen screen({960, 540});
  const int fast = 30;
  for (int index = 0; index < fast; ++index) {
    screen.redraw();
    recording.encode(screen.picture());
    recording.advance(frame);
  }
  const std::int64_t before = recording.averageBitRate();
  recording.setRates(60, 0.0);
  const std::int64_t after = recording.averageBitRate();
  ASSERT_LT(after, before / 3);
  for (int index = 0; index < 60; ++index) {
    screen.redraw();
    recording.encode(screen.picture());
    recording.advance(frame);
  }
  EXPECT_LE(recording.bitsIn(frame * fast, seconds(1)), after * 3 / 2);
  std::string complaints;
  EXPECT_EQ(recording.decoded(&complaints).size(), 90U);
  EXPECT_EQ(complaints, "");
}

TEST_P(RealCompressor, drawsNewContentAfterAPauseWithoutAKeyFrame) {
  Recording recording(GetParam(), small, 60, 1.0);
  std::vector<std::vector<std::uint8_t>> originals;
  for (int count = 0; count < 8; ++count) {
    DrawnPicture picture(small);
    picture.fill({0, 0, small.width, small.height}, static_cast<std::uint8_t>(40 + 25 * count), 110, 150);
    picture.fill({100, 50 + 20 * count, 200, 100}, 200, 90, 90);
    originals.push_back(picture.packed());
    recording.encode(std::make_shared<DrawnPicture>(picture));
    recording.advance(milliseconds(400));
  }
  EXPECT_THAT(recording.keyFrames(), ElementsAre(0));
  std::string complaints;
  const auto decoded = recording.decoded(&complaints);
  EXPECT_EQ(complaints, "");
  ASSERT_EQ(decoded.size(), originals.size());
  for (std::size_t index = 0; index < originals.size(); ++index)
    EXPECT_GT(lumaPSNR(originals[index], decoded[index], small), 38) << "picture " << index;
}

// The type of each picture as ffprobe prints it, one letter per line.
std::string pictureTypes(const Recording& recording) {
  const TemporaryFolder folder;
  const std::string format = recording.writeRaw(folder.file("raw"));
  return outputOf(fmt::format("ffprobe -v error -f {} -show_entries frame=pict_type -of default=nw=1:nk=1 {}",
                              format, folder.file("raw")));
}

TEST(RealCompressors, codeNewH264ContentAfterAPauseIntra) {
  Recording recording(VideoCodec::h264, small, 60, 1.0);
  DrawnPicture picture(small);
  const auto encode = [&](const PixelRect& part, std::uint8_t luma, milliseconds pause) {
    recording.advance(pause);
    picture.fill(part, luma, 110, 150);
    recording.encode(std::make_shared<DrawnPicture>(picture), {part});
  };
  const PixelRect whole{0, 0, small.width, small.height};
  encode(whole, 40, seconds(0));
  encode(whole, 80, milliseconds(400));
  encode(whole, 120, milliseconds(20));            // one of a series: it may be motion
  encode({0, 0, 64, 64}, 200, milliseconds(400));  // a part only
  recording.advance(milliseconds(400));
  recording.encode(std::make_shared<DrawnPicture>(picture), {whole});  // marked as new, but the same
  encode(whole, 160, milliseconds(400));
  EXPECT_EQ(pictureTypes(recording), "I\nI\nP\nP\nP\nI\n");
  EXPECT_THAT(recording.keyFrames(), ElementsAre(0));
}

TEST_P(RealCompressor, spendsLittleOnSmallChanges) {
  Recording recording(GetParam(), small, 60, 1.0);
  SyntheticScreen screen(small);
  for (int count = 0; count < 180; ++count) {
    recording.encode(screen.picture(),
                     count == 0 ? std::vector<PixelRect>{} : std::vector{screen.typeCharacter()});
    recording.advance(frame);
  }
  const std::int64_t lastSecond = recording.bitsIn(seconds(2), seconds(1));
  EXPECT_LT(lastSecond, recording.averageBitRate() / 4);
}

// HEVC keeps its rate per picture, so at the lowest rate a few repeats have no bits to spend.
TEST_P(RealCompressor, becomesSharperWhenAPictureIsEncodedAgain) {
  Recording recording(GetParam(), {1280, 720}, 60, GetParam() == VideoCodec::hevc ? 0.5 : 0.0);
  SyntheticScreen screen({1280, 720});
  for (int count = 0; count < 8; ++count) {
    screen.redraw();
    recording.encode(screen.picture());
    recording.advance(frame);
  }
  const auto original = screen.picture()->packed();
  for (int pass = 0; pass < 3; ++pass) {
    recording.advance(milliseconds(pass == 0 ? 44 : 25 << (pass - 1)));
    recording.encodeAgain(screen.picture());
  }
  const auto decoded = recording.decoded();
  ASSERT_EQ(decoded.size(), 11U);
  EXPECT_GT(lumaPSNR(original, decoded[10], {1280, 720}), lumaPSNR(original, decoded[7], {1280, 720}) + 1.0);
}

TEST_P(RealCompressor, keepsItsRecordOverChangesOfRate) {
  Recording recording(GetParam(), small);
  const auto picture = SyntheticScreen(small).picture();
  for (int step = 0; step < 4; ++step) {
    recording.setRates(15 * (step + 1), 0.25 * step);
    recording.encode(picture);
    recording.advance(frame);
  }
  for (const auto& compressed : recording.pictures())
    EXPECT_EQ(compressed.configurationRecord, recording.pictures()[0].configurationRecord);
}

TEST_P(RealCompressor, dropsPicturesOfAnotherSizeAndAbsentOnesAndReportsThem) {
  Recording recording(GetParam(), small);
  recording.encode(SyntheticScreen({320, 180}).picture());
  recording.encode(nullptr);
  EXPECT_TRUE(recording.pictures().empty());
  EXPECT_EQ(recording.dropped(), 2U);
  recording.compressor().completeAndInvalidate();
  recording.encode(SyntheticScreen(small).picture());
  recording.setRates(30, 1);
  recording.compressor().prepare();
  recording.encode(SyntheticScreen(small).picture());
  EXPECT_TRUE(recording.pictures().empty());
  EXPECT_EQ(recording.dropped(), 4U);
}

TEST_P(RealCompressor, acceptsChangedPartsOutsideThePicture) {
  Recording recording(GetParam(), small);
  const auto picture = SyntheticScreen(small).picture();
  recording.encode(picture);
  constexpr int far = 1'000'000'000;
  recording.encode(picture,
                   {{-far, -far, far, far}, {far, far, far, far}, {630, 350, far, far}, {0, 0, -5, 3}});
  EXPECT_EQ(recording.decoded().size(), 2U);
}

TEST_P(RealCompressor, refusesSizesItCannotEncode) {
  const auto factory = makeLinuxVideoCompressors();
  for (const PixelSize size :
       {PixelSize{0, 0}, PixelSize{-2, 2}, PixelSize{641, 360}, PixelSize{640, 361},
        PixelSize{100'000, 100'000}, PixelSize{16'384, 16'384}, PixelSize{2, 65'536}}) {
    CompressorSpecification specification;
    specification.size = size;
    specification.codec = GetParam();
    const auto made = factory->make(specification, [](const CompressedPicture&) {});
    ASSERT_FALSE(made) << size.width << "x" << size.height;
    EXPECT_NE(made.error().status, 0);
  }
}

TEST(RealCompressors, encodeTheSmallestPictures) {
  for (const PixelSize size : {PixelSize{2, 2}, PixelSize{2, 500}, PixelSize{16, 16}, PixelSize{18, 34}}) {
    Recording recording(VideoCodec::h264, size);
    ASSERT_TRUE(recording.isOpen()) << size.width << "x" << size.height;
    for (int count = 0; count < 3; ++count) recording.encode(std::make_shared<DrawnPicture>(size));
    std::string complaints;
    EXPECT_EQ(recording.decoded(&complaints).size(), 3U) << complaints;
  }
}

TEST(RealCompressors, useH264ForSizesThatHevcLacks) {
  const auto factory = makeLinuxVideoCompressors();
  const auto encoder =
      VideoEncoder::create(*factory, {.size = {2, 2}, .codec = VideoCodec::hevc, .fps = 60, .quality = 0.5});
  ASSERT_TRUE(encoder);
  EXPECT_EQ((*encoder)->codec(), VideoCodec::h264);
}

}  // namespace
}  // namespace quorl
