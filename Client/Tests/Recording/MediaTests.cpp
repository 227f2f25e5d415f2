// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Recording/Muxer.h>
#include <quorl-client/Recording/PngWriter.h>
#include <quorl-client/Video/Decoder.h>
#include <quorl-client/Video/DecoderConfig.h>

#include <cstdlib>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <Support/TemporaryFolder.h>

#include "../Support/SampleVideo.h"

namespace quorl::client {
namespace {

using quorl::test::TemporaryFolder;
using test::decodedByTool;
using test::outputOfTool;
using test::SampleVideo;

class MediaTest : public testing::TestWithParam<VideoCodec> {
 protected:
  static const SampleVideo& sample() {
    static const std::array samples{
        SampleVideo::encode(VideoCodec::hevc, "testsrc2=size=322x242:rate=30", 15),
        SampleVideo::encode(VideoCodec::h264, "testsrc2=size=322x242:rate=30", 15)};
    return samples[GetParam() == VideoCodec::hevc ? 0 : 1];
  }
  static DecoderConfig config() { return {sample().config, GetParam()}; }
  static EncodedPicture picture(std::size_t index) {
    const auto& source = sample().pictures[index];
    return {source.isKeyframe, 5'000'000 + source.ptsMicros, source.data, {}};
  }
  static std::string probe(const std::filesystem::path& file, const std::string& entries) {
    return outputOfTool(
        fmt::format("ffprobe -v error -count_packets -select_streams v:0 -show_entries {} -of "
                    "default=noprint_wrappers=1 '{}'",
                    entries, file.string()));
  }

  TemporaryFolder folder_;
};

INSTANTIATE_TEST_SUITE_P(Codecs, MediaTest, testing::Values(VideoCodec::hevc, VideoCodec::h264),
                         [](const auto& parameter) { return std::string(rawValue(parameter.param)); });

// The largest difference of a colour of a pixel.
int largestDifference(const Bytes& a, const Bytes& b) {
  int largest = a.size() == b.size() ? 0 : 256;
  for (std::size_t index = 0; index < std::min(a.size(), b.size()); ++index)
    largest = std::max(largest, std::abs(a[index] - b[index]));
  return largest;
}

TEST_P(MediaTest, recognisesTheRecordOfARealEncoder) {
  EXPECT_EQ(codecOfConfigRecord(sample().config), GetParam());
}

TEST_P(MediaTest, decodesEachPictureAtOnce) {
  Decoder decoder;
  ASSERT_TRUE(decoder.configure(sample().config));
  for (const auto& unit : sample().pictures) {
    const auto decoded = decoder.decode(unit.data, unit.ptsMicros);
    ASSERT_EQ(decoded.size(), 1U);
    EXPECT_EQ(decoded[0].size(), sample().size);
    EXPECT_EQ(decoded[0].ptsMicros(), unit.ptsMicros);
  }
  EXPECT_EQ(decoder.failedUnits(), 0U);
}

TEST_P(MediaTest, countsUndecodableUnitsAndContinuesAtAKeyframe) {
  Decoder decoder;
  EXPECT_TRUE(decoder.decode(sample().pictures[0].data, 0).empty());
  ASSERT_TRUE(decoder.configure(sample().config));
  EXPECT_TRUE(decoder.decode({}, 0).empty());
  EXPECT_TRUE(decoder.decode(Bytes(1000, 0xFF), 0).empty());
  EXPECT_GE(decoder.failedUnits(), 2U);
  EXPECT_EQ(decoder.decode(sample().pictures[0].data, 7).size(), 1U);
}

TEST_P(MediaTest, writesAPNGOfExactlyThePicture) {
  Decoder decoder;
  ASSERT_TRUE(decoder.configure(sample().config));
  const auto decoded = decoder.decode(sample().pictures[0].data, 0);
  ASSERT_EQ(decoded.size(), 1U);
  const auto file = folder_ / "shot.png";
  ASSERT_TRUE(writePNG(decoded[0], file));
  // Another program reads the decoded picture from the file, and decodes the stream to the same one.
  EXPECT_EQ(decodedByTool(file.string()), decoded[0].rgb());
  EXPECT_EQ(probe(file, "stream=codec_name,width,height"), "codec_name=png\nwidth=322\nheight=242\n");
}

TEST_P(MediaTest, showsTheColoursThatWereEncoded) {
  const auto red = SampleVideo::encode(GetParam(), "color=c=0xC83214:size=64x64:rate=30", 1);
  Decoder decoder;
  ASSERT_TRUE(decoder.configure(red.config));
  const auto decoded = decoder.decode(red.pictures[0].data, 0);
  ASSERT_EQ(decoded.size(), 1U);
  Bytes expected;
  for (int pixel = 0; pixel < 64 * 64; ++pixel)
    for (const auto value : {0xC8, 0x32, 0x14}) expected.push_back(static_cast<std::uint8_t>(value));
  EXPECT_LE(largestDifference(decoded[0].rgb(), expected), 4);
  EXPECT_NEAR(decoded[0].luma(32, 32), 16 + 0.257 * 0xC8 + 0.504 * 0x32 + 0.098 * 0x14, 3);
}

TEST_P(MediaTest, muxesAFileThatOtherProgramsReadAndDecode) {
  const auto file = folder_ / "out.mp4";
  auto muxer = Muxer::create(file, config(), sample().size);
  ASSERT_TRUE(muxer) << muxer.error().what;
  for (std::size_t index = 0; index < sample().pictures.size(); ++index)
    ASSERT_TRUE((*muxer)->write(picture(index)));
  EXPECT_FALSE(std::filesystem::exists(file));
  ASSERT_TRUE((*muxer)->finish(std::chrono::seconds(2)));
  EXPECT_EQ((*muxer)->pictures(), 15U);
  const auto isHEVC = GetParam() == VideoCodec::hevc;
  EXPECT_EQ(probe(file, "stream=codec_name,codec_tag_string,width,height,nb_read_packets"),
            fmt::format("codec_name={}\ncodec_tag_string={}\nwidth=322\nheight=242\nnb_read_packets=15\n",
                        isHEVC ? "hevc" : "h264", isHEVC ? "hvc1" : "avc1"));
  // The last picture is held until the end.
  EXPECT_EQ(probe(file, "stream=start_time,duration"), "start_time=0.000000\nduration=2.000000\n");
  // Every picture decodes without errors: ffmpeg stops at the first one.
  const auto frames =
      outputOfTool(fmt::format("ffmpeg -v error -xerror -err_detect explode -nostdin -i '{}' -fps_mode "
                               "passthrough -f framemd5 - 2>&1 | grep -c '^0,'",
                               file.string()));
  EXPECT_EQ(frames, "15\n");
}

TEST_P(MediaTest, keepsTheTimesOfAnIrregularStream) {
  const auto file = folder_ / "out.mp4";
  auto muxer = Muxer::create(file, config(), sample().size);
  ASSERT_TRUE(muxer);
  const std::array<std::uint64_t, 4> stamps{1'000'000, 1'016'000, 3'000'000, 2'000'000};
  for (std::size_t index = 0; index < stamps.size(); ++index) {
    auto held = picture(index);
    held.ptsMicros = stamps[index];
    ASSERT_TRUE((*muxer)->write(std::move(held)));
  }
  ASSERT_TRUE((*muxer)->finish(std::chrono::seconds(1)));
  // A time stamp that goes back follows directly after the former one.
  EXPECT_EQ(probe(file, "packet=pts_time"),
            "pts_time=0.000000\npts_time=0.016000\npts_time=2.000000\npts_time=2.001000\n");
}

TEST_P(MediaTest, skipsPicturesBeforeTheFirstKeyframe) {
  const auto file = folder_ / "out.mp4";
  auto muxer = Muxer::create(file, config(), sample().size);
  ASSERT_TRUE(muxer);
  for (const std::size_t index : {3U, 4U, 0U, 1U}) ASSERT_TRUE((*muxer)->write(picture(index)));
  ASSERT_TRUE((*muxer)->finish(std::chrono::seconds(1)));
  EXPECT_EQ((*muxer)->pictures(), 2U);
}

TEST_P(MediaTest, leavesNoFileIfItIsDropped) {
  {
    auto muxer = Muxer::create(folder_ / "out.mp4", config(), sample().size);
    ASSERT_TRUE(muxer);
    ASSERT_TRUE((*muxer)->write(picture(0)));
  }
  EXPECT_TRUE(std::filesystem::is_empty(folder_.path()));
}

TEST_P(MediaTest, reportsAPathThatCannotBeWritten) {
  const auto muxer = Muxer::create(folder_ / "absent/out.mp4", config(), sample().size);
  ASSERT_FALSE(muxer);
  EXPECT_NE(muxer.error().what.find("absent/out.mp4"), std::string::npos);
  Decoder decoder;
  ASSERT_TRUE(decoder.configure(sample().config));
  const auto decoded = decoder.decode(sample().pictures[0].data, 0);
  ASSERT_EQ(decoded.size(), 1U);
  EXPECT_FALSE(writePNG(decoded[0], folder_ / "absent/shot.png"));
}

TEST(Decoder, rejectsAnInvalidConfiguration) {
  Decoder decoder;
  EXPECT_FALSE(decoder.configure(Bytes{1, 2, 3}));
}

}  // namespace
}  // namespace quorl::client
