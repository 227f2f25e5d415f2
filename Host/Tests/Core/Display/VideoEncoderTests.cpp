// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Display/VideoEncoder.h>

#include <gtest/gtest.h>

#include <Support/FakeScreenCapture.h>
#include <Support/FakeVideoCompressor.h>

namespace quorl {
namespace {

using std::chrono::microseconds;
using test::FakePicture;
using test::FakeVideoCompressorFactory;

class VideoEncoderTest : public testing::Test {
 protected:
  std::shared_ptr<VideoEncoder> make(VideoCodec codec = VideoCodec::hevc, double quality = 0.5) {
    auto encoder =
        VideoEncoder::create(factory_, {.size = {1920, 1080}, .codec = codec, .fps = 60, .quality = quality});
    if (!encoder) return nullptr;
    (*encoder)->onCodecConfig = [this](SharedBytes record) { configs_.push_back(textOf(*record)); };
    (*encoder)->onEncodedChunk = [this](const VideoEncoder::EncodedChunk& chunk) {
      chunks_.push_back(chunk);
    };
    return *encoder;
  }
  void encode(VideoEncoder& encoder, microseconds time = microseconds(1000)) {
    encoder.encode(std::make_shared<FakePicture>(PixelSize{16, 16}), time, {});
  }

  FakeVideoCompressorFactory factory_;
  std::vector<std::string> configs_;
  std::vector<VideoEncoder::EncodedChunk> chunks_;
};

TEST_F(VideoEncoderTest, opensALowLatencySessionWithItsRates) {
  const auto encoder = make();
  ASSERT_TRUE(encoder);
  const auto& session = factory_.lastSession();
  EXPECT_EQ(session.specification.size, (PixelSize{1920, 1080}));
  EXPECT_EQ(session.specification.codec, VideoCodec::hevc);
  EXPECT_EQ(session.specification.maxKeyFrameInterval, 600);
  EXPECT_EQ(session.specification.maxKeyFrameIntervalDuration, std::chrono::seconds(10));
  ASSERT_EQ(session.rates.size(), 1U);
  EXPECT_EQ(session.rates[0].averageBitRate, 13'685'760);
  EXPECT_TRUE(session.prepared);
}

TEST_F(VideoEncoderTest, fallsBackToH264WithItsConfigurationRecord) {
  factory_.hevcFailure = -12;
  const auto encoder = make(VideoCodec::hevc);
  ASSERT_TRUE(encoder);
  EXPECT_EQ(encoder->codec(), VideoCodec::h264);
  EXPECT_EQ(factory_.attempts(), (std::vector{VideoCodec::hevc, VideoCodec::h264}));
  encode(*encoder);
  EXPECT_EQ(configs_, std::vector<std::string>{"avcC"});
}

TEST_F(VideoEncoderTest, failsWithTheStatusOfTheLastAttempt) {
  factory_.hevcFailure = -12;
  factory_.h264Failure = -7;
  const auto encoder =
      VideoEncoder::create(factory_, {.size = {2, 2}, .codec = VideoCodec::hevc, .fps = 60, .quality = 0});
  ASSERT_FALSE(encoder);
  EXPECT_EQ(encoder.error(), (WireError{"stream.encoder", "VTCompressionSessionCreate failed (-7)"}));
}

TEST_F(VideoEncoderTest, doesNotTryHevcForAnH264Stream) {
  factory_.h264Failure = 3;
  EXPECT_FALSE(make(VideoCodec::h264));
  EXPECT_EQ(factory_.attempts(), std::vector{VideoCodec::h264});
}

TEST_F(VideoEncoderTest, clampsTheQualityToTheRangeFromZeroToOne) {
  const auto rateOf = [&](double quality) {
    const auto encoder = make(VideoCodec::h264, quality);
    return factory_.lastSession().rates.back().averageBitRate;
  };
  EXPECT_EQ(rateOf(1.5), rateOf(1));
  EXPECT_EQ(rateOf(-1), rateOf(0));
  EXPECT_NE(rateOf(0), rateOf(1));
}

TEST_F(VideoEncoderTest, appliesNewRatesWhileRunning) {
  const auto encoder = make();
  encoder->applyRateControl(30, 1.0);
  EXPECT_EQ(encoder->fps(), 30);
  EXPECT_DOUBLE_EQ(encoder->quality(), 1.0);
  EXPECT_EQ(factory_.lastSession().rates.back().expectedFrameRate, 30);
  EXPECT_EQ(factory_.lastSession().rates.back().averageBitRate,
            12'441'599);  // 0.02 + 0.18 is less than 0.2 in binary
}

TEST_F(VideoEncoderTest, announcesAConfigurationOnceAndAgainWhenItChanges) {
  const auto encoder = make();
  encode(*encoder);
  encode(*encoder);
  // An equal record in another buffer is not a change.
  factory_.lastSession().configurationRecord = shareBytes(bytesOf("hvcC"));
  encode(*encoder);
  EXPECT_EQ(configs_, std::vector<std::string>{"hvcC"});
  factory_.lastSession().configurationRecord = shareBytes(bytesOf("hvcC2"));
  encode(*encoder);
  encode(*encoder);
  EXPECT_EQ(configs_, (std::vector<std::string>{"hvcC", "hvcC2"}));
  EXPECT_EQ(chunks_.size(), 5U);
}

TEST_F(VideoEncoderTest, announcesTheConfigurationBeforeThePictureThatNeedsIt) {
  auto encoder = *VideoEncoder::create(factory_, {.size = {16, 16}, .codec = VideoCodec::h264});
  std::string order;
  encoder->onCodecConfig = [&](const SharedBytes&) { order += 'c'; };
  encoder->onEncodedChunk = [&](const VideoEncoder::EncodedChunk&) { order += 'p'; };
  encode(*encoder);
  EXPECT_EQ(order, "cp");
}

TEST_F(VideoEncoderTest, announcesNoAbsentOrEmptyConfiguration) {
  const auto encoder = make();
  factory_.lastSession().configurationRecord = nullptr;
  encode(*encoder);
  factory_.lastSession().configurationRecord = shareBytes({});
  encode(*encoder);
  EXPECT_TRUE(configs_.empty());
  EXPECT_EQ(chunks_.size(), 2U);
}

TEST_F(VideoEncoderTest, forcesAKeyFrameOnce) {
  const auto encoder = make();
  encode(*encoder);
  encoder->forceNextKeyframe = true;
  encode(*encoder);
  encode(*encoder);
  const auto& requests = factory_.lastSession().requests;
  ASSERT_EQ(requests.size(), 3U);
  EXPECT_FALSE(requests[0].forceKeyFrame);
  EXPECT_TRUE(requests[1].forceKeyFrame);
  EXPECT_FALSE(requests[2].forceKeyFrame);
  EXPECT_FALSE(encoder->forceNextKeyframe);
}

TEST_F(VideoEncoderTest, treatsANegativeTimeAsZero) {
  const auto encoder = make();
  encode(*encoder, microseconds(-5));
  encode(*encoder, microseconds(1'234'567));
  ASSERT_EQ(chunks_.size(), 2U);
  EXPECT_EQ(chunks_[0].ptsMicros, 0U);
  EXPECT_EQ(chunks_[1].ptsMicros, 1'234'567U);
}

TEST_F(VideoEncoderTest, skipsAResultWithoutData) {
  const auto encoder = make();
  CompressedPicture empty;
  empty.configurationRecord = shareBytes(bytesOf("hvcC"));
  factory_.lastSession().output(empty);
  EXPECT_TRUE(chunks_.empty());
}

TEST_F(VideoEncoderTest, ignoresPicturesAfterItsEnd) {
  const auto encoder = make();
  encoder->completeAndInvalidate();
  EXPECT_TRUE(factory_.lastSession().ended);
  encode(*encoder);
  encoder->applyRateControl(10, 0);
  EXPECT_TRUE(factory_.lastSession().requests.empty());
}

TEST_F(VideoEncoderTest, endsItsSessionOnReleaseAndIgnoresLateResults) {
  auto encoder = make();
  auto& session = factory_.lastSession();
  encoder.reset();
  EXPECT_TRUE(session.ended);
  CompressedPicture late;
  late.data = shareBytes({1});
  session.output(late);
  EXPECT_TRUE(chunks_.empty());
}

}  // namespace
}  // namespace quorl
